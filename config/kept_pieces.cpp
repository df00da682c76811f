/* SPDX-License-Identifier: MIT */
/*
 * Pieces of a configuration that nobody here knows. What it protects: a plugin or a firmware that
 * is away for a while finds its configuration when it is back, whatever was saved meanwhile.
 */
#include "config/kept_pieces.h"

#include "config/commit_id.h"
#include "config/file_limits.h"
#include "model/class_record.h"
#include "model/instances_walk.h"
#include "vorn/config.h"
#include "vorn/instance.h"

#include <cinttypes>
#include <cstring>
#include <utility>

#include "access/rules.h"

namespace vorn {

constinit KeptPieces *kept_pieces = nullptr;

namespace {

constinit KeptPieces *kept_of_goal = nullptr;

constexpr char is_there = '+';
constexpr char is_absent = '-';
constexpr char is_end = '.';
constexpr unsigned int owner_buckets = 16;

/* Reads what PieceTexts has put together. */
class TextsOf {
public:
    TextsOf(const char *texts, std::size_t size) : at_(texts), end_(texts + size) {}
    bool has_more() const { return at_ < end_; }
    const char *at() const { return at_; }
    /* Goes past the end of what belongs together. */
    bool has_ended()
    {
        if (!has_more() || *at_ != is_end) return !has_more();
        at_++;
        return true;
    }
    const char *next()
    {
        const char *text = *at_ == is_there ? at_ + 1 : nullptr;
        at_ += std::strlen(at_) + 1;
        return text;
    }

private:
    const char *at_;
    const char *end_;
};

bool file_may_have(const WrittenInstance &written)
{
    const char *name = written.text_at(written.instance_name);
    if (!file_may_name(written.element) || (name && !file_may_hold(name))) return false;
    for (const WrittenValue &each : written) {
        const char *text = written.text_at(each.text);
        if (!file_may_name(each.property) || (text && !file_may_hold(text))) return false;
    }
    return true;
}

bool has_own_name(const vorn_class &klass)
{
    return klass.type == VORN_CLASS_UNIQUE_NAMED || klass.type == VORN_CLASS_SINGLETON;
}

/*
 * By its name, where no other can have it; else also by its values, since there is nothing else
 * that will still tell it from others of its class when they are saved.
 */
Text owner_of(const vorn_instance &instance)
{
    const vorn_class &klass = *instance.klass;
    return format("%s\n%s\n%016" PRIx64, klass.name.get(), instance.name ? instance.name.get() : "",
                  has_own_name(klass) ? std::uint64_t{0} : digest_of_instance(instance));
}

std::size_t size_of(const char *text)
{
    return 2 + (text ? std::strlen(text) : 0);
}

std::size_t size_of(const WrittenInstance &written)
{
    std::size_t size =
        1 + size_of(written.element) + size_of(written.text_at(written.instance_name));
    for (const WrittenValue &each : written)
        size += size_of(each.property) + size_of(written.text_at(each.text));
    return size;
}

void add_texts(PieceTexts &texts, const WrittenInstance &written)
{
    texts.add(written.element);
    texts.add(written.text_at(written.instance_name));
    for (const WrittenValue &each : written) {
        texts.add(each.property);
        texts.add(written.text_at(each.text));
    }
    texts.end();
}

void write_element(TextsOf &texts, XmlWriter &document, const char *new_name = nullptr)
{
    const char *element = texts.next();
    const char *name = texts.next();
    document.open(element, new_name ? new_name : name);
    while (!texts.has_ended()) {
        const char *property = texts.next();
        document.add_text(property, or_empty(texts.next()));
    }
    document.close(element);
}

void pass_element(TextsOf &texts)
{
    do
        texts.next();
    while (!texts.has_ended());
}

void write_values(const KeptBeside &piece, const vorn_instance &instance, XmlWriter &document)
{
    TextsOf texts(piece.texts.get(), piece.size);
    while (texts.has_more()) {
        const char *property = texts.next();
        const char *text = texts.next();
        const bool is_known = vorn_class_get_property(instance.klass, property) != nullptr;
        if (is_known && vorn_instance_get_value(&instance, property)) continue;
        document.add_text(property, or_empty(text));
    }
}

bool is_meant(const char *wanted, const char *text, std::size_t length)
{
    return !wanted || (std::strncmp(wanted, text, length) == 0 && wanted[length] == '\0');
}

bool is_meant(const char *wanted, const char *text)
{
    return is_meant(wanted, text, std::strlen(text));
}

/* What one that is gone is called now; null when it is not the only one that it can be. */
const vorn_instance *renamed_from(const vorn_instance &gone, const vorn_changes &changes)
{
    const std::uint64_t values = digest_of_values(gone);
    const vorn_instance *renamed = nullptr;
    const Walk walk(vorn_changes_new_class_instances_iterator(&changes, gone.klass->name.get()));
    for (const vorn_instance *each : walk) {
        if (std::strcmp(each->name.get(), gone.name.get()) == 0) return nullptr;
        if (digest_of_values(*each) != values || vorn_changes_get_instance_before(&changes, each))
            continue;
        if (renamed) return nullptr;
        renamed = each;
    }
    return renamed;
}

/* An owner's class and name, which are parts of one text. */
struct OwnerNames {
    explicit OwnerNames(const KeptBeside &piece)
        : klass(piece.owner.get()),
          klass_length(std::strcspn(klass, "\n")),
          name(klass + klass_length + 1),
          name_length(std::strlen(name) - digest_length)
    {}

    static constexpr std::size_t digest_length = sizeof "\n0123456789abcdef" - 1;
    const char *klass;
    std::size_t klass_length;
    const char *name;
    std::size_t name_length;
};

} // namespace

void PieceTexts::add(const char *text)
{
    texts_.append(text ? &is_there : &is_absent, 1);
    if (text) texts_.append(text);
    texts_.append("", 1);
}

void PieceTexts::end()
{
    texts_.append(&is_end, 1);
}

KeptPieces::~KeptPieces()
{
    while (first_)
        delete std::exchange(first_, first_->next);
}

bool KeptPieces::take_room(std::size_t size)
{
    if (size > most_kept_bytes - bytes_) {
        lost_++;
        return false;
    }
    bytes_ += size;
    return true;
}

Outcome KeptPieces::add_element(const WrittenInstance &written)
{
    hold_rules_ |= is_about_access(written.element);
    if (!file_may_have(written)) {
        lost_++;
        return Outcome::refused;
    }
    if (!take_room(size_of(written))) return Outcome::refused;
    add_texts(elements_, written);
    return elements_.buffer().failed() ? Outcome::out_of_memory : Outcome::done;
}

Outcome KeptPieces::add_values(const vorn_instance &instance, PieceTexts &values)
{
    return add_beside(instance, values, false);
}

Outcome KeptPieces::add_rival(const vorn_instance &served, const WrittenInstance &written)
{
    PieceTexts texts;
    add_texts(texts, written);
    return add_beside(served, texts, true);
}

Outcome KeptPieces::add_beside(const vorn_instance &owner, PieceTexts &texts, bool is_element)
{
    hold_rules_ |= is_about_access(owner.klass->name.get());
    const std::size_t size = texts.buffer().size();
    if (!take_room(size + sizeof(KeptBeside))) return Outcome::refused;
    Owned<KeptBeside> added = make<KeptBeside>();
    if (!added || !by_owner_.create(owner_buckets)) return Outcome::out_of_memory;
    added->is_element = is_element;
    added->owner = owner_of(owner);
    added->texts.reset(texts.buffer().take().release());
    if (!added->owner || !added->texts) return Outcome::out_of_memory;
    added->size = size;

    KeptBeside *same = by_owner_.get(added->owner.get());
    while (same && same->another)
        same = same->another;
    if (!same && by_owner_.insert(added->owner.get(), added.get()) != 0)
        return Outcome::out_of_memory;
    if (same) same->another = added.get();
    last_ = (last_ ? last_->next : first_) = added.release();
    return Outcome::done;
}

/* The first of what an owner has. Without memory a piece stays with what its owner was. */
KeptBeside *KeptPieces::give_to(const Text &owner_before, Text owner)
{
    if (!owner_before || !owner || std::strcmp(owner_before.get(), owner.get()) == 0)
        return nullptr;
    KeptBeside *const first = by_owner_.get(owner_before.get());
    KeptBeside *before = nullptr;
    KeptBeside *piece = first;
    while (piece && piece->size == 0) {
        before = piece;
        piece = piece->another;
    }
    if (!piece) return nullptr;
    KeptBeside *same = by_owner_.get(owner.get());
    while (same && same->another)
        same = same->another;
    if (!same && by_owner_.insert(owner.get(), piece) != 0) return nullptr;

    if (before) {
        before->another = piece->another;
    } else if (piece->another) {
        by_owner_.replace(owner_before.get(), piece->another);
    } else {
        by_owner_.remove(owner_before.get());
    }
    if (same) same->another = piece;
    piece->another = nullptr;
    piece->owner = std::move(owner);
    return piece;
}

void KeptPieces::follow_names(const vorn_changes &changes)
{
    const Walk walk(vorn_changes_new_deleted_class_instances_iterator(&changes, nullptr));
    for (const vorn_instance *gone : walk) {
        if (gone->klass->type != VORN_CLASS_UNIQUE_NAMED) continue;
        const Text owner = owner_of(*gone);
        const bool has_any = owner && by_owner_.get(owner.get());
        const vorn_instance *renamed = has_any ? renamed_from(*gone, changes) : nullptr;
        while (Text name = renamed ? copy_of(renamed->name.get()) : Text()) {
            KeptBeside *piece = give_to(owner, owner_of(*renamed));
            if (!piece) break;
            piece->new_name = std::move(name);
        }
    }
}

void KeptPieces::follow(const vorn_changes &changes)
{
    if (by_owner_.size() == 0) return;
    const Walk walk(vorn_changes_new_class_instances_iterator(&changes, nullptr));
    for (const vorn_instance *each : walk) {
        const vorn_instance *before =
            has_own_name(*each->klass) ? nullptr : vorn_changes_get_instance_before(&changes, each);
        if (before) give_to(owner_of(*before), owner_of(*each));
    }
    follow_names(changes);
}

/* A value that was set since then has taken the place of the one that was refused. */
void KeptPieces::write_values_of(const vorn_instance &instance, XmlWriter &document)
{
    if (by_owner_.size() == 0) return;
    const Text owner = owner_of(instance);
    if (!owner) document.fail();
    KeptBeside *piece = owner ? by_owner_.get(owner.get()) : nullptr;
    for (; piece; piece = piece->another) {
        if (piece->size == 0 || piece->written == writing_) continue;
        piece->written = writing_;
        if (piece->is_element) continue;
        write_values(*piece, instance, document);
        if (!has_own_name(*instance.klass)) return;
    }
}

void KeptPieces::write_elements(XmlWriter &document)
{
    TextsOf texts(elements_.buffer().get(), elements_.buffer().size());
    while (texts.has_more())
        write_element(texts, document);
    for (const KeptBeside *piece = first_; piece; piece = piece->next) {
        if (!piece->is_element || piece->size == 0 || piece->written != writing_) continue;
        TextsOf rival(piece->texts.get(), piece->size);
        write_element(rival, document, piece->new_name.get());
    }
}

/* Its place in the chain stays. */
void KeptPieces::drop(KeptBeside &piece)
{
    if (piece.size > 0) bytes_ -= piece.size + sizeof piece;
    piece.texts.reset();
    piece.size = 0;
}

void KeptPieces::forget_unwritten()
{
    for (KeptBeside *piece = first_; piece; piece = piece->next) {
        if (piece->written != writing_) drop(*piece);
    }
}

/* In place: nothing may be lost because memory ran out. */
unsigned int KeptPieces::forget_elements(const char *class_name, const char *name)
{
    TextBuffer &buffer = elements_.buffer();
    TextsOf texts(buffer.get(), buffer.size());
    unsigned int count = 0;
    char *end = buffer.data();
    while (texts.has_more()) {
        const char *begin = texts.at();
        TextsOf names = texts;
        const bool has_class = is_meant(class_name, names.next());
        const bool goes = has_class && is_meant(name, or_empty(names.next()));
        pass_element(texts);
        const auto size = static_cast<std::size_t>(texts.at() - begin);
        if (goes) {
            count++;
            bytes_ -= size;
        } else {
            std::memmove(end, begin, size);
            end += size;
        }
    }
    buffer.cut(static_cast<std::size_t>(end - buffer.data()));
    return count;
}

unsigned int KeptPieces::forget(const char *class_name, const char *name)
{
    unsigned int count = forget_elements(class_name, name);
    for (KeptBeside *piece = first_; piece; piece = piece->next) {
        const OwnerNames owner(*piece);
        if (piece->size == 0 || !is_meant(class_name, owner.klass, owner.klass_length) ||
            !is_meant(name, owner.name, owner.name_length))
            continue;
        drop(*piece);
        count++;
    }
    const bool is_all = !class_name && !name;
    if (bytes_ == 0 && (count > 0 || is_all)) versions_ = {};
    hold_rules_ = hold_rules_ && still_hold_rules();
    return count;
}

/* What was lost could be looked at no more. */
bool KeptPieces::still_hold_rules()
{
    if (lost_ > 0) return true;
    TextsOf texts(elements_.buffer().get(), elements_.buffer().size());
    while (texts.has_more()) {
        if (is_about_access(TextsOf(texts).next())) return true;
        pass_element(texts);
    }
    for (const KeptBeside *piece = first_; piece; piece = piece->next) {
        const OwnerNames owner(*piece);
        const bool is_of_rule = is_meant(access_rule_class, owner.klass, owner.klass_length) ||
                                is_meant(access_default_class, owner.klass, owner.klass_length);
        if (piece->size > 0 && is_of_rule) return true;
    }
    return false;
}

const char *KeptPieces::describe(unsigned int rank)
{
    TextsOf texts(elements_.buffer().get(), elements_.buffer().size());
    while (texts.has_more()) {
        TextsOf names = texts;
        pass_element(texts);
        if (rank-- > 0) continue;
        const char *element = names.next();
        description_ = Line<120>("%s \"%s\"", element, or_empty(names.next()));
        return description_.get();
    }
    const KeptBeside *piece = first_;
    while (piece && (piece->size == 0 || rank-- > 0))
        piece = piece->next;
    if (!piece) return nullptr;
    const OwnerNames owner(*piece);
    description_ = Line<120>(
        "%.*s \"%.*s\"%s%s", static_cast<int>(owner.klass_length), owner.klass,
        static_cast<int>(owner.name_length), owner.name, piece->is_element ? ", another one" : ": ",
        piece->is_element ? "" : TextsOf(piece->texts.get(), piece->size).next());
    return description_.get();
}

KeptOfGoal::KeptOfGoal() : is_of_an_outer_one_(kept_of_goal != nullptr)
{}

KeptOfGoal::~KeptOfGoal()
{
    if (!is_of_an_outer_one_) set({});
}

void KeptOfGoal::set(Owned<KeptPieces> pieces)
{
    delete std::exchange(kept_of_goal, pieces.release());
}

void KeptOfGoal::take_or_follow(const vorn_changes &changes)
{
    if (kept_of_goal) {
        delete std::exchange(kept_pieces, std::exchange(kept_of_goal, nullptr));
    } else if (kept_pieces) {
        kept_pieces->follow(changes);
    }
}

} // namespace vorn

using namespace vorn;

const char *vorn_config_get_kept(unsigned int rank)
{
    return kept_pieces ? kept_pieces->describe(rank) : nullptr;
}
