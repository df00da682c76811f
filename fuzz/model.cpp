/* SPDX-License-Identifier: MIT */
/*
 * Random steps of a board's life against a model of it. A letter is a step, the characters after
 * it choose among what the step can be done with:
 *
 *     iCNvPV.w   insert into class C under name N, setting P to V; "." ends the values
 *     u d s      update, delete and select, with a condition at the end: an empty one, or
 *                e/n (equal, not), a property and a value
 *     t2... p2.. a write transaction of as many operations, or a request of them without one
 *     w W b      save, save where there is no room for it, boot from what was saved
 *     f          an inform request, whose handler writes down a value passively
 *     c x y      a subscriber comes, goes, writes
 *     n o        notices of a changed configuration and of a changed object
 *
 * After each step everything is compared: the answer, the running configuration, what the provider
 * was told and what the subscribers heard.
 */
#include "api/sockets/inform_state.h"
#include "config/config_state.h"
#include "config/config_write.h"
#include "vorn/inform.h"

#include <cstdlib>
#include <cstring>

#include "fuzz/consistency.h"
#include "fuzz/model_store.h"
#include "fuzz/model_subscribers.h"
#include "fuzz/request.h"
#include "fuzz/scratch.h"
#include "fuzz/target.h"

namespace {

using namespace vorn::fuzz;

constexpr int most_steps = 60;
constexpr std::size_t most_values = 4;

const std::string names[] = {"r0",    "r1",    "lan",     "guests",  "",
                             "a & b", "<\"'>", "\t\n\r ", "\xC3\xA9"};
const std::string texts[] = {"7",    "11",   "",       "g",     "r0",  "a & b",
                             "<x/>", "]]>",  " \n",    "\r",    "\"'", "\xE2\x82\xAC",
                             "%s%n", "&lt;", "Static", "guests"};

/* What is left of the input. */
class Script {
public:
    explicit Script(std::string_view text) : rest_(text) {}

    bool has_next() const { return !rest_.empty(); }
    char next()
    {
        if (rest_.empty()) return '.';
        const char character = rest_.front();
        rest_.remove_prefix(1);
        return character;
    }
    std::size_t below(std::size_t limit)
    {
        const auto byte = static_cast<unsigned char>(next());
        return (byte >= '0' && byte <= '9' ? byte - '0' : byte) % limit;
    }
    template <std::size_t count>
    const std::string &any_of(const std::string (&list)[count])
    {
        return list[below(count)];
    }
    std::optional<std::string> any_name()
    {
        const std::size_t chosen = below(std::size(names) + 1);
        return chosen < std::size(names) ? std::optional(names[chosen]) : std::nullopt;
    }

private:
    std::string_view rest_;
};

std::string any_property(Script &script, const ClassPlan &plan)
{
    const std::vector<PropertyPlan> properties = all_properties(plan);
    const std::size_t chosen = script.below(properties.size() + 2);
    if (chosen == properties.size()) return "nothing";
    return chosen < properties.size() ? properties[chosen].name : "secret";
}

/* Something of a family is told its class first, but not always. */
void add_values(Script &script, Operation &operation)
{
    const ClassPlan *plan = operation.plan;
    if (operation.kind == Operation::Kind::insert && !plan->identifier.empty()) {
        static const std::string kinds[] = {"Static", "Dhcp", "Lease", "Tunnel", "Radio"};
        const std::string &kind = script.any_of(kinds);
        operation.values.emplace_back(plan->identifier, kind);
        plan = find_class(kind);
    }
    for (char more = script.next(); more != '.' && operation.values.size() < most_values;
         more = script.next()) {
        std::string property = any_property(script, *plan);
        operation.values.emplace_back(std::move(property), script.any_of(texts));
    }
}

Condition read_condition(Script &script, const ClassPlan &plan)
{
    const char kind = script.next();
    if (kind != 'e' && kind != 'n') return {};

    const bool by_name = script.below(4) == 0;
    Condition where;
    where.kind = kind == 'e' ? Condition::Kind::equal : Condition::Kind::different;
    where.property = by_name ? "" : any_property(script, plan);
    where.value = by_name ? script.any_of(names) : script.any_of(texts);
    return where;
}

Operation read_operation(Script &script, char letter)
{
    const auto &plans = class_plans();
    const auto kind = letter == 'i'   ? Operation::Kind::insert
                      : letter == 'u' ? Operation::Kind::update
                      : letter == 'd' ? Operation::Kind::remove
                                      : Operation::Kind::select;
    Operation operation = {kind, &plans[script.below(plans.size())], {}, {}, {}};
    operation.name = script.any_name();
    if (letter == 'i' || letter == 'u') add_values(script, operation);
    if (letter != 'i') operation.where = read_condition(script, *operation.plan);
    return operation;
}

std::string element(const std::string &name, const std::string &content)
{
    return "<" + name + ">" + content + "</" + name + ">";
}

std::string written(const Condition &where)
{
    if (where.kind == Condition::Kind::none) return "";
    const std::string subject =
        where.property.empty() ? element("metadata", "name") : element("property", where.property);
    const std::string equal = element("eq", subject + element("value", escaped(where.value)));
    return element("where", where.kind == Condition::Kind::equal ? equal : element("not", equal));
}

std::string written(const Operation &operation)
{
    static const std::string verbs[] = {"select", "update", "delete", "insert"};
    const bool select = operation.kind == Operation::Kind::select;
    const std::string &class_name = operation.plan->name;

    std::string values;
    for (const auto &[property, value] : operation.values)
        values += element(property, escaped(value));
    std::string object = "<" + class_name;
    if (operation.name) object += " name=\"" + escaped(*operation.name) + "\"";
    object += (select ? " properties=\"all\">" : ">") + values + "</" + class_name + ">";
    return element(verbs[static_cast<int>(operation.kind)], object) + written(operation.where);
}

/* An instance as an answer shows it, and as the model says it should be shown. */
std::string shown(const Operation &operation, const Object &object)
{
    std::string text = operation.plan->name;
    if (object.name) text += " \"" + *object.name + "\"";
    const auto add = [&](const std::string &property) {
        const auto value = object.values.find(property);
        text += "\n  " + property + "=" + (value == object.values.end() ? "" : value->second);
    };
    const ClassPlan *superclass = find_class(object.plan->superclass);
    if (superclass) add(superclass->identifier);
    for (const PropertyPlan &property : all_properties(*object.plan))
        add(property.name);
    return text + "\n";
}

std::string content_of(const xmlNode *node)
{
    const vorn::XmlText text(xmlNodeGetContent(node));
    return text ? vorn::plain(text.get()) : "";
}

std::string shown(const xmlNode *instance)
{
    std::string text = vorn::plain(instance->name);
    const vorn::XmlText name(xmlGetNoNsProp(instance, vorn::xml("name")));
    if (name) text += std::string(" \"") + vorn::plain(name.get()) + "\"";
    for (const xmlNode *value = instance->children; value; value = value->next)
        text += std::string("\n  ") + vorn::plain(value->name) + "=" + content_of(value);
    return text + "\n";
}

/* The answer without the words of its errors. */
std::string shown_answer(const std::string &answer)
{
    const vorn::XmlDocument document = parsed_answer(answer);
    const xmlNode *root = xmlDocGetRootElement(document.get());
    std::string text;
    for (const xmlNode *node = root->children; node; node = node->next) {
        const std::string name = vorn::plain(node->name);
        if (name == "rc" || name == "counter") text += name + " " + content_of(node) + "\n";
        if (name != "dataset") continue;
        for (const xmlNode *instance = node->children; instance; instance = instance->next)
            text += shown(instance);
    }
    return text;
}

std::string expected_answer(const Operation &operation, const Outcome &outcome)
{
    std::string text;
    for (const Object &object : outcome.selected)
        text += shown(operation, object);
    return text + "rc " + (outcome.failed ? "1" : "0") + "\ncounter " +
           std::to_string(outcome.counter) + "\n";
}

/* What the inform handler is to write down; the part of a name that an inform body can carry. */
int note_uptime()
{
    const char *name = vorn_inform_get_value("name");
    const char *uptime = vorn_inform_get_value("uptime");
    if (!name || !uptime || !is_numeric(uptime)) return 1;

    evaluate("<lsql><update><Radio name=\"" + escaped(name) + "\"><uptime>" + uptime +
                 "</uptime></Radio></update></lsql>",
             true);
    return 0;
}

/* A board and the model of it, which are to take the same way. */
class Life {
public:
    explicit Life(const ScratchFolder &folder)
        : file_(folder / "config.xml"), nowhere_(folder / "missing/config.xml")
    {
        model_.add_missing_singletons();
        vorn::fuzz::write_file(file_, "<config/>");
        Board::boot_from(file_);
        expect_commit("", model_.state());
    }

    void take_step(char letter, Script &script);
    void check();

private:
    void expect_commit(const std::string &before, const std::string &after)
    {
        expected_commits_.push_back({before, after});
    }
    void ask(const std::vector<Operation> &operations, bool transaction);
    void ask_several(Script &script, bool transaction);
    void inform(Script &script);
    void boot();

    Board board_;
    Subscribers subscribers_;
    ModelStore model_;
    ModelStore saved_;
    std::vector<Commit> expected_commits_;
    std::string file_;
    std::string nowhere_;
};

void Life::ask(const std::vector<Operation> &operations, bool transaction)
{
    const ModelStore before = model_;
    std::string request;
    std::string expected;
    bool failed = false;
    for (const Operation &operation : operations) {
        request += written(operation);
        if (failed) continue;
        const Outcome outcome = model_.run(operation);
        expected += expected_answer(operation, outcome);
        failed = outcome.failed;
    }
    const bool reads = operations.back().kind == Operation::Kind::select;
    if (failed && transaction) model_ = before;
    if (!failed && (transaction || !reads)) expect_commit(before.state(), model_.state());

    const std::string body = transaction ? element("write-transaction", request) : request;
    const auto answer = evaluate("<lsql origin=\"fuzz\">" + body + "</lsql>", false);
    require(answer && shown_answer(*answer) == expected, "the answer is the model's");
}

void Life::ask_several(Script &script, bool transaction)
{
    std::vector<Operation> operations;
    for (std::size_t count = 1 + script.below(3); count > 0; count--)
        operations.push_back(read_operation(script, script.next()));
    ask(operations, transaction);
}

void Life::inform(Script &script)
{
    const std::string name = script.any_of(names);
    const std::string uptime = script.any_of(texts);
    const std::string carried_uptime = uptime.substr(0, uptime.find('&'));
    ExactString body("object=uptime&uptime=" + uptime + "&name=" + name);
    const bool whole = uptime.find('&') == std::string::npos;
    const bool understood = whole && is_numeric(carried_uptime);
    if (understood) {
        model_.set_passively("Radio", name.substr(0, name.find('&')), "uptime", carried_uptime);
    }

    vorn::start_inform_socket_request(body.get());
    const std::string answer = vorn::dispatch_inform_request();
    vorn::end_inform_socket_request();
    require(answer == (understood ? "OK" : "ERR returned by handler"), "an inform is answered");
}

void Life::boot()
{
    model_ = saved_;
    model_.add_missing_singletons();
    expect_commit("", model_.state());
    require(Board::boot_from(file_), "a saved file can be booted from");
}

void Life::take_step(char letter, Script &script)
{
    switch (letter) {
    case 'i':
    case 'u':
    case 'd':
    case 's':
        return ask({read_operation(script, letter)}, false);
    case 't':
    case 'p':
        return ask_several(script, letter == 't');
    case 'w':
        saved_ = model_.saved();
        return require(vorn::write_config(vorn::running_config, file_.c_str()), "a save succeeds");
    case 'W':
        return require(!vorn::write_config(vorn::running_config, nowhere_.c_str()),
                       "a save that can't succeed says so");
    case 'b':
        return boot();
    case 'f':
        return inform(script);
    case 'c':
        return subscribers_.connect();
    case 'x':
        return subscribers_.disconnect(script.below(8));
    case 'y':
        return subscribers_.write_something(script.below(8));
    case 'n':
        return subscribers_.tell_conf_change(script.any_name());
    case 'o':
        const std::optional<std::string> name = script.any_name();
        return subscribers_.tell_object_change(name, script.any_of(texts));
    }
}

void Life::check()
{
    const std::vector<Commit> commits = take_commits();
    require(commits.size() == expected_commits_.size(), "the provider is told as often");
    for (std::size_t i = 0; i < commits.size(); i++) {
        require(commits[i].before == expected_commits_[i].before, "the provider is told of before");
        require(commits[i].after == expected_commits_[i].after, "the provider is told of after");
    }
    expected_commits_.clear();
    require(state_of(vorn::running_config) == model_.state(), "the board is the model's");
    subscribers_.check();
}

void set_up()
{
    set_up_board();
    vorn_inform_fn_add("uptime", note_uptime);
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static const ScratchFolder folder;
    Script script(as_text(data, size));

    set_up();
    Life life(folder);
    life.check();
    for (int step = 0; step < most_steps && script.has_next(); step++) {
        life.take_step(script.next(), script);
        life.check();
    }
    require_consistent(vorn::running_config);
    return 0;
}
