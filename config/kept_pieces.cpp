/* SPDX-License-Identifier: MIT */
/*
 * Pieces of a configuration that nobody here knows. What it protects: a plugin or a firmware that
 * is away for a while finds its configuration when it is back, whatever was saved meanwhile.
 */
#include "config/kept_pieces.h"

#include "config/commit_id.h"
#include "config/file_limits.h"
#include "model/class_record.h"
#include "vorn/config.h"
#include "vorn/instance.h"

#include <cinttypes>
#include <cstring>
#include <utility>

namespace vorn {

constinit KeptPieces *kept_pieces = nullptr;

namespace {

constexpr char is_there = '+';
constexpr char is_absent = '-';
constexpr char is_end = '.';
constexpr unsigned int owner_buckets = 16;

/* Reads what PieceTexts has put together. */
class TextsOf {
public:
    TextsOf(const char *texts, std::size_t size) : at_(texts), end_(texts + size) {}
    bool has_more() const { return at_ < end_; }
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

/*
 * By its name, where no other can have it; else also by its values, since there is nothing else
 * that will still tell it from others of its class when they are saved.
 */
Text owner_of(const vorn_instance &instance)
{
    const vorn_class &klass = *instance.klass;
    const bool is_unique =
        klass.type == VORN_CLASS_UNIQUE_NAMED || klass.type == VORN_CLASS_SINGLETON;
    return format("%s\n%s\n%016" PRIx64, klass.name.get(), instance.name ? instance.name.get() : "",
                  is_unique ? std::uint64_t{0} : digest_of_instance(instance));
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
    if (!file_may_have(written)) {
        lost_++;
        return Outcome::refused;
    }
    if (!take_room(size_of(written))) return Outcome::refused;
    elements_.add(written.element);
    elements_.add(written.text_at(written.instance_name));
    for (const WrittenValue &each : written) {
        elements_.add(each.property);
        elements_.add(written.text_at(each.text));
    }
    elements_.end();
    return elements_.buffer().failed() ? Outcome::out_of_memory : Outcome::done;
}

Outcome KeptPieces::add_values(const vorn_instance &instance, PieceTexts &values)
{
    const std::size_t size = values.buffer().size();
    if (!take_room(size + sizeof(KeptValues))) return Outcome::refused;
    Owned<KeptValues> added = make<KeptValues>();
    if (!added || !by_owner_.create(owner_buckets)) return Outcome::out_of_memory;
    added->owner = owner_of(instance);
    added->texts.reset(values.buffer().take().release());
    if (!added->owner || !added->texts) return Outcome::out_of_memory;
    added->size = size;

    KeptValues *same = by_owner_.get(added->owner.get());
    while (same && same->another)
        same = same->another;
    if (!same && by_owner_.insert(added->owner.get(), added.get()) != 0)
        return Outcome::out_of_memory;
    if (same) same->another = added.get();
    last_ = (last_ ? last_->next : first_) = added.release();
    return Outcome::done;
}

/* A value that was set since then has taken the place of the one that was refused. */
void KeptPieces::write_values_of(const vorn_instance &instance, XmlWriter &document)
{
    if (by_owner_.size() == 0) return;
    const Text owner = owner_of(instance);
    if (!owner) document.fail();
    KeptValues *piece = owner ? by_owner_.get(owner.get()) : nullptr;
    while (piece && (piece->size == 0 || piece->written == writing_))
        piece = piece->another;
    if (!piece) return;
    piece->written = writing_;
    TextsOf texts(piece->texts.get(), piece->size);
    while (texts.has_more()) {
        const char *property = texts.next();
        const char *text = texts.next();
        const bool is_known = vorn_class_get_property(instance.klass, property) != nullptr;
        if (is_known && vorn_instance_get_value(&instance, property)) continue;
        document.add_text(property, or_empty(text));
    }
}

void KeptPieces::write_elements(XmlWriter &document)
{
    TextsOf texts(elements_.buffer().get(), elements_.buffer().size());
    while (texts.has_more()) {
        const char *element = texts.next();
        document.open(element, texts.next());
        while (!texts.has_ended()) {
            const char *property = texts.next();
            document.add_text(property, or_empty(texts.next()));
        }
        document.close(element);
    }
}

/* Their place in the chain stays. */
void KeptPieces::forget_unwritten()
{
    for (KeptValues *piece = first_; piece; piece = piece->next) {
        if (piece->written == writing_) continue;
        bytes_ -= piece->size;
        piece->texts.reset();
        piece->size = 0;
    }
}

const char *KeptPieces::describe(unsigned int rank)
{
    TextsOf texts(elements_.buffer().get(), elements_.buffer().size());
    while (texts.has_more()) {
        const char *element = texts.next();
        const char *name = texts.next();
        while (!texts.has_ended())
            texts.next();
        if (rank-- > 0) continue;
        description_ = Line<120>("%s \"%s\"", element, or_empty(name));
        return description_.get();
    }
    const KeptValues *piece = first_;
    while (piece && (piece->size == 0 || rank-- > 0))
        piece = piece->next;
    if (!piece) return nullptr;
    const char *klass = piece->owner.get();
    const std::size_t length = std::strcspn(klass, "\n");
    const char *name = klass + length + 1;
    description_ = Line<120>("%.*s \"%.*s\": %s", static_cast<int>(length), klass,
                             static_cast<int>(std::strcspn(name, "\n")), name,
                             TextsOf(piece->texts.get(), piece->size).next());
    return description_.get();
}

} // namespace vorn

using namespace vorn;

const char *vorn_config_get_kept(unsigned int rank)
{
    return kept_pieces ? kept_pieces->describe(rank) : nullptr;
}

void vorn_config_forget_kept()
{
    delete std::exchange(kept_pieces, nullptr);
}
