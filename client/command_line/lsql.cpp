/* SPDX-License-Identifier: MIT */
/* Requests and answers. The library escapes; what it can't is refused here. */
#include "lsql.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <sstream>

#include <vorn-client.h>

#include "failure.h"
#include "text.h"
#include "where.h"

namespace vorn::client {

namespace {

const std::string nothing;

bool can_be_sent(std::string_view text)
{
    for (std::size_t at = 0; at < text.size();) {
        const auto byte = static_cast<unsigned char>(text[at]);
        if (byte < ' ' && byte != '\t' && byte != '\n' && byte != '\r') return false;
        const std::size_t length = character_length(text, at);
        if (length == 0) return false;
        at += length;
    }
    return true;
}

void expect_text(const char *what, const std::string &text)
{
    if (!can_be_sent(text)) {
        fail(misused, {"the ", what, " \"", text, "\" holds a control character or is not UTF-8"});
    }
}

/* A name that would break the request, or mean something else in it, is no name of the device's. */
void expect_name(const char *what, const std::string &name)
{
    const auto is_no_letter = [](unsigned char each) {
        return each < 0x80 && std::isalnum(each) == 0 && !std::strchr("-._:", each);
    };
    expect_text(what, name);
    if (name.empty() || std::ranges::any_of(name, is_no_letter) ||
        std::strchr("-.0123456789", name[0])) {
        fail(misused, {"\"", name, "\" is no name of a ", what});
    }
}

std::string escaped(const std::string &text)
{
    const std::unique_ptr<char, decltype(&std::free)> result(vorn_client_escape(text.c_str()),
                                                             &std::free);
    return result ? result.get() : throw std::bad_alloc();
}

void add_values(pugi::xml_node element, const Values &values)
{
    for (const auto &[property, value] : values) {
        expect_name("property", property);
        set_text(element.append_child(property.c_str()), value);
    }
}

} // namespace

const std::string *value_of(const Values &values, std::string_view name)
{
    for (const auto &each : values) {
        if (each.first == name) return &each.second;
    }
    return nullptr;
}

const std::string &Instance::called() const
{
    return name ? *name : nothing;
}

const std::string &Instance::value(std::string_view property) const
{
    const std::string *found = value_of(values, property);
    return found ? *found : nothing;
}

bool Instance::has(std::string_view property) const
{
    return value_of(values, property) != nullptr;
}

void Instance::set(std::string_view property, std::string_view value)
{
    for (auto &each : values) {
        if (each.first != property) continue;
        each.second = value;
        return;
    }
    values.emplace_back(property, value);
}

void set_text(pugi::xml_node element, const std::string &text)
{
    expect_text("value", text);
    if (!text.empty()) element.text().set(escaped(text).c_str());
}

void set_name(pugi::xml_node element, const std::string &name)
{
    expect_text("name", name);
    element.append_attribute("name").set_value(escaped(name).c_str());
}

Request::Request(Kind kind, const std::string &origin)
{
    root_ = document_.append_child("lsql");
    if (!origin.empty()) {
        expect_text("origin", origin);
        root_.append_attribute("origin").set_value(escaped(origin).c_str());
    }
    if (kind == Kind::transaction) root_ = root_.append_child("write-transaction");
}

void Request::ask_for_commit()
{
    document_.child("lsql").append_attribute("tell-commit").set_value("yes");
}

void Request::ask_whether_lasting()
{
    document_.child("lsql").append_attribute("tell-lasting").set_value("yes");
}

void Request::only_if(const std::string &commit)
{
    document_.child("lsql").append_attribute("if-commit").set_value(escaped(commit).c_str());
}

void Request::speak_for(const std::string &user)
{
    expect_text("user", user);
    document_.child("lsql").append_attribute("for-user").set_value(escaped(user).c_str());
}

/* A daemon that can't explain does not know the word, and refuses it. */
void Request::only_explain()
{
    document_.child("lsql").set_name("explain");
}

pugi::xml_node Request::add(const char *operation, const Target &target, Missing missing)
{
    expect_name("class", target.class_name);
    pugi::xml_node parent = root_.append_child(operation);
    if (missing == Missing::is_an_error) parent.append_attribute("must-match").set_value("yes");
    pugi::xml_node element = parent.append_child(target.class_name.c_str());
    if (target.name) set_name(element, *target.name);
    operations_++;
    return element;
}

void Request::add_where(const Target &target)
{
    if (!target.where.empty()) append_condition(root_.append_child("where"), target.where);
}

void Request::select(const Target &target, const std::vector<std::string> &properties)
{
    pugi::xml_node element = add("select", target);
    if (properties.empty()) element.append_attribute("properties").set_value("all");
    for (const std::string &property : properties) {
        expect_name("property", property);
        element.append_child(property.c_str());
    }
    add_where(target);
}

void Request::update(const Target &target, const Values &values, Missing missing)
{
    add_values(add("update", target, missing), values);
    add_where(target);
}

void Request::remove(const Target &target, Missing missing)
{
    add("delete", target, missing);
    add_where(target);
}

void Request::insert(const Target &target, const Values &values, const std::string &secrets_of)
{
    pugi::xml_node element = add("insert", target);
    if (!secrets_of.empty())
        element.append_attribute("secrets-of").set_value(escaped(secrets_of).c_str());
    add_values(element, values);
}

std::string Request::text() const
{
    std::ostringstream text;
    document_.save(text, "",
                   pugi::format_raw | pugi::format_no_declaration | pugi::format_no_escapes);
    return text.str();
}

void parse_document(pugi::xml_document &document, const std::string &text, const char *source)
{
    const pugi::xml_parse_result result = document.load_buffer(
        text.data(), text.size(), pugi::parse_default | pugi::parse_ws_pcdata_single);
    if (!result) {
        fail(misused,
             {source, ": ", result.description(), " at byte ", std::to_string(result.offset)});
    }
}

std::vector<Instance> parse_instances(const pugi::xml_node &parent)
{
    std::vector<Instance> instances;
    for (const pugi::xml_node &element : parent.children()) {
        if (element.type() != pugi::node_element) continue;
        Instance &instance = instances.emplace_back();
        instance.class_name = element.name();
        if (const pugi::xml_attribute name = element.attribute("name")) {
            instance.name = name.value();
        }
        for (const pugi::xml_node &value : element.children()) {
            if (value.type() != pugi::node_element) continue;
            instance.values.emplace_back(value.name(), value.text().get());
        }
    }
    return instances;
}

std::string commit_of(const std::string &answer)
{
    pugi::xml_document document;
    parse_document(document, answer, "the answer");
    return document.child("lsql_result").child("commit").text().get();
}

/* The commit stands last: what ends before it is no text that somebody has chosen. */
bool is_lasting(const std::string &answer)
{
    const std::size_t commit = answer.rfind("<commit>");
    return commit != std::string::npos &&
           std::string_view(answer).substr(0, commit).ends_with("<lasting>yes</lasting>");
}

bool is_same_commit(const std::string &one, const std::string &other)
{
    const auto digest = [](const std::string &id) { return id.substr(id.find('-') + 1); };
    return digest(one) == digest(other);
}

std::vector<Outcome> parse_answer(const std::string &answer)
{
    pugi::xml_document document;
    parse_document(document, answer, "the answer");

    std::vector<Outcome> outcomes;
    Outcome outcome;
    for (const pugi::xml_node &node : document.child("lsql_result").children()) {
        const std::string_view name = node.name();
        if (name == "dataset") outcome.instances = parse_instances(node);
        if (name == "error") {
            if (!outcome.error.empty()) outcome.error += '\n';
            outcome.error += node.text().get();
        }
        if (name == "rc") outcome.rc = node.text().as_int();
        if (name == "counter") {
            outcome.counter = node.text().as_int();
            outcomes.push_back(std::exchange(outcome, {}));
        }
    }
    return outcomes;
}

} // namespace vorn::client
