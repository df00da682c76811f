/* SPDX-License-Identifier: MIT */
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <pugixml.hpp>

namespace vorn::client {

using Values = std::vector<std::pair<std::string, std::string>>;

/* The first of that name, or null. */
const std::string *value_of(const Values &values, std::string_view name);

/* One instance as an answer or a configuration file shows it. */
struct Instance {
    std::string class_name;
    std::optional<std::string> name;
    Values values;

    /* Empty where it has none. */
    const std::string &called() const;
    /* Empty for a property that isn't there: the daemon makes no difference either. */
    const std::string &value(std::string_view property) const;
    bool has(std::string_view property) const;
    void set(std::string_view property, std::string_view value);

    bool operator==(const Instance &) const = default;
};

/* What became of one operation. */
struct Outcome {
    std::vector<Instance> instances;
    std::string error; /* several are lines */
    int rc = 0;
    int counter = 0;
};

/* Which instances an operation is about. */
struct Target {
    std::string class_name;
    std::optional<std::string> name;
    std::string where; /* empty for none */
};

/* What an update or a delete does that picks nothing. */
enum class Missing { passes, is_an_error };

/* A request in the making. A text that no document can hold throws a Failure. */
class Request {
public:
    /* Without an origin the daemon is not told one. */
    enum class Kind { plain, transaction };
    explicit Request(Kind kind, const std::string &origin = {});

    /* Without properties: all of them. */
    void select(const Target &target, const std::vector<std::string> &properties);
    void update(const Target &target, const Values &values, Missing missing = Missing::passes);
    void remove(const Target &target, Missing missing = Missing::passes);
    /* With the secrets of the instance of that name, where a value only says that there is one. */
    void insert(const Target &target, const Values &values, const std::string &secrets_of = {});

    /* The answer is to tell which configuration it is about. */
    void ask_for_commit();
    /* The answer is to tell whether it stays what it is until something changes. */
    void ask_whether_lasting();
    /* Nothing is to happen unless the configuration still is that one. */
    void only_if(const std::string &commit);
    /* For whom it is: heard from those who may say that. */
    void speak_for(const std::string &user);
    /* What a transaction would do is to be told, and nothing to be done. To be called last. */
    void only_explain();

    bool empty() const { return operations_ == 0; }
    std::string text() const;

private:
    pugi::xml_node add(const char *operation, const Target &target,
                       Missing missing = Missing::passes);
    void add_where(const Target &target);

    pugi::xml_document document_;
    pugi::xml_node root_;
    int operations_ = 0;
};

/*
 * Texts escaped here, since a carriage return that the library wrote would come back as another
 * character. What they stand in is written with format_no_escapes. A text that no document can hold
 * throws a Failure.
 */
void set_text(pugi::xml_node element, const std::string &text);
void set_name(pugi::xml_node element, const std::string &name);

/* The outcomes, in the order of the operations, up to the one that failed. */
std::vector<Outcome> parse_answer(const std::string &answer);

/* The id of the configuration that the answer is about; empty when it tells none. */
std::string commit_of(const std::string &answer);

/* Whether an answer that tells its commit, too, says that it lasts. */
bool is_lasting(const std::string &answer);

/* Whether two ids name the same configuration, however many commits lie between them. */
bool is_same_commit(const std::string &one, const std::string &other);

/* The children of an element as instances, their children as values. */
std::vector<Instance> parse_instances(const pugi::xml_node &parent);

/* A document, with every blank of its texts; throws a Failure that names the source. */
void parse_document(pugi::xml_document &document, const std::string &text, const char *source);

} // namespace vorn::client
