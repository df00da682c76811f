/* SPDX-License-Identifier: MIT */
/* Command lines: what the table of verbs allows, and what it says to people. */
#include "arguments.h"

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <optional>

#include "advice.h"
#include "failure.h"
#include "text.h"

namespace vorn::client {

namespace {

constexpr char footer[] =
    "\nExit status: 0 done; 1 refused; 2 misused; 3 no daemon, or no answer in "
    "time;\n"
    "4 connection closed without an answer; 5 nothing there that was asked for, or a difference;\n"
    "6 applied, but not saved; 7 recorded, but not applied. The manual: vornctl(1).\n";

constexpr OptionWord common[] = {
    {"--json", nullptr, "results as JSON"},
    {"--xml", nullptr, "results as XML"},
    {"--color", "WHEN", "auto, always or never"},
    {"--timeout", "SECONDS", "how long the daemon may take"},
    {"--origin", "NAME", "who changes notices name; \"\" for nobody"},
    {"--no-wait", nullptr, "don't wait until a change is applied"},
    {"--help", nullptr, "print this and end"},
    {"--version", nullptr, "print the version and end"},
};

[[noreturn]] void misuse(std::initializer_list<std::string_view> parts)
{
    throw Misuse(concat(parts));
}

void print_row(std::string_view name, std::string_view help)
{
    constexpr std::size_t column = 30;
    std::string left = concat({"  ", name});
    left.resize(std::max(column, left.size() + 1), ' ');
    std::cout << left << help << '\n';
}

void print_options(const char *title, std::span<const OptionWord> options)
{
    std::cout << '\n' << title << ":\n";
    for (const OptionWord &each : options) {
        print_row(concat({each.name, each.value ? " " : "", each.value ? each.value : ""}),
                  each.help);
    }
}

std::string usage_of(const Argument &argument)
{
    return concat({argument.required ? "" : "[", argument.name, argument.many ? "..." : "",
                   argument.required ? "" : "]"});
}

} // namespace

void print_help(const Verb &verb)
{
    std::cout << verb.help << "\nUsage: vornctl " << verb.name;
    if (!verb.options.empty()) std::cout << " [OPTION]...";
    for (const Argument &each : verb.arguments)
        std::cout << ' ' << usage_of(each);
    std::cout << '\n';
    if (!verb.arguments.empty()) std::cout << '\n';
    for (const Argument &each : verb.arguments)
        print_row(each.name, each.help);
    if (!verb.options.empty()) print_options("Options", verb.options);
    std::cout << "\nvornctl --help lists the options that every command has.\n" << footer;
}

void print_help()
{
    std::cout << "Reads and changes the configuration of this device.\n"
                 "Usage: vornctl [OPTION]... COMMAND [ARGUMENT]...\n\nCommands:\n";
    for (const Verb &each : verbs()) {
        if (each.for_people) print_row(each.name, each.help);
    }
    print_options("Options, before or after the command", common);
    std::cout << footer;
}

namespace {

const OptionWord *find_option(std::span<const OptionWord> options, const std::string &name)
{
    const auto found =
        std::ranges::find_if(options, [&](const OptionWord &each) { return name == each.name; });
    return found == options.end() ? nullptr : &*found;
}

double seconds_of(const std::string &text)
{
    char *end = nullptr;
    const double seconds = std::strtod(text.c_str(), &end);
    if (text.empty() || *end != '\0' || !(seconds >= 0.001 && seconds <= 86400)) {
        misuse({"--timeout: Value ", text, " not in range 0.001 to 86400"});
    }
    return seconds;
}

Colour colour_of(const std::string &text)
{
    if (text == "auto") return Colour::automatic;
    if (text == "always") return Colour::always;
    if (text == "never") return Colour::never;
    misuse({"--color: \"", text, "\" is none of auto, always and never"});
}

void set_format(Options &options, Format format)
{
    if (options.output.format != Format::table && options.output.format != format) {
        misuse({"--json excludes --xml"});
    }
    options.output.format = format;
}

/* Words and options in any order; what begins with a dash is an option until "--" has come. */
class Parser {
public:
    explicit Parser(const std::vector<std::string> &words) : words_(words) {}

    Invocation parse_line()
    {
        bool asks_for_help = false;
        bool asks_for_version = false;
        while (at_ < words_.size()) {
            if (const std::optional<std::string> name = take_option()) {
                asks_for_help |= *name == "--help" || *name == "-h";
                asks_for_version |= *name == "--version";
                if (asks_for_help || asks_for_version) continue;
                if (!take_own(*name) && !take_common(*name)) take_unknown(*name);
            } else if (expects_verb()) {
                take_verb();
            } else {
                invocation_.words.push_back(words_[at_++]);
            }
        }
        if (asks_for_help || asks_for_version) return answer(asks_for_help);
        if (!invocation_.verb) misuse({"A subcommand is required"});
        expect_all_words();
        const Options &options = invocation_.options;
        if (options.asks && options.trial_seconds == 0) misuse({"--ask needs --trial"});
        return std::move(invocation_);
    }

    Invocation parse_words_of(const Verb &verb)
    {
        invocation_.verb = &verb;
        while (at_ < words_.size()) {
            const std::optional<std::string> name = take_option();
            if (!name) {
                invocation_.words.push_back(words_[at_++]);
            } else if (!take_own(*name)) {
                take_unknown(*name);
            }
        }
        expect_all_words();
        return std::move(invocation_);
    }

private:
    /* An option of the one that precedes another takes the other's place. */
    bool expects_verb() const
    {
        const Verb *verb = invocation_.verb;
        return !verb || (verb->precedes && invocation_.given.empty());
    }

    void take_verb()
    {
        const std::string &name = words_[at_++];
        const Verb *preceding = invocation_.verb;
        invocation_.verb = find_verb(name);
        if (preceding && invocation_.verb) explain(*preceding);
        if (!invocation_.verb && !unexpected_.empty()) complain_of_unexpected();
        if (!invocation_.verb) {
            std::vector<std::string> names;
            for (const Verb &each : verbs())
                names.emplace_back(each.name);
            const std::string meant = did_you_mean(name, names);
            fail(misused, {"unknown command \"", name, "\"",
                           meant.empty() ? "; vornctl --help lists them" : meant});
        }
    }

    /* Of a command that changes something. */
    void explain(const Verb &preceding)
    {
        if (!find_option(invocation_.verb->options, "--explain")) {
            misuse({preceding.name, ": ", invocation_.verb->name,
                    " is no change of the configuration"});
        }
        invocation_.options.explains = true;
    }

    /* The name of the option that stands here; a value after "=" is kept for it. */
    std::optional<std::string> take_option()
    {
        const std::string &word = words_[at_];
        if (only_words_ || word.size() < 2 || word[0] != '-') return std::nullopt;
        at_++;
        if (word == "--") {
            only_words_ = true;
            return at_ < words_.size() ? take_option() : "--";
        }
        const std::size_t separator = word.find('=');
        attached_.reset();
        if (separator != std::string::npos) attached_ = word.substr(separator + 1);
        return word.substr(0, separator);
    }

    std::string take_value(const OptionWord &option)
    {
        if (attached_) return *attached_;
        if (at_ >= words_.size()) {
            misuse({option.name, ": 1 required ", option.value, " missing"});
        }
        return words_[at_++];
    }

    bool take_own(const std::string &name)
    {
        if (!invocation_.verb) return false;
        const OptionWord *option = find_option(invocation_.verb->options, name);
        if (!option) return false;
        const std::string value = option->value ? take_value(*option) : "";
        invocation_.given.insert(invocation_.given.begin(), {name, value});
        Options &options = invocation_.options;
        if (name == "--explain") options.explains = true;
        if (name == "--comment") options.comment = value;
        if (name == "--ask") options.asks = true;
        if (name == "--join") options.joins = value;
        if (name == "--trial") {
            constexpr long shortest = 5;
            constexpr long longest = 86400;
            options.trial_seconds =
                static_cast<int>(number_in("--trial", value, longest, shortest));
        }
        return true;
    }

    bool take_common(const std::string &name)
    {
        const OptionWord *option = find_option(common, name);
        if (!option) return false;
        const std::string value = option->value ? take_value(*option) : "";
        Options &options = invocation_.options;
        if (name == "--json") set_format(options, Format::json);
        if (name == "--xml") set_format(options, Format::xml);
        if (name == "--color") options.output.colour = colour_of(value);
        if (name == "--timeout") options.timeout_seconds = seconds_of(value);
        if (name == "--origin") options.origin = value;
        if (name == "--no-wait") options.waits = false;
        return true;
    }

    void take_unknown(const std::string &name)
    {
        if (name == "--") return;
        unexpected_.push_back(words_[at_ - 1]);
        std::vector<std::string> options;
        for (const OptionWord &each : common)
            options.emplace_back(each.name);
        if (invocation_.verb) {
            for (const OptionWord &each : invocation_.verb->options)
                options.emplace_back(each.name);
        }
        meant_ = did_you_mean(name, options);
    }

    Invocation answer(bool asks_for_help)
    {
        if (!asks_for_help) {
            std::cout << "vornctl " VORN_VERSION "\n";
        } else if (invocation_.verb) {
            print_help(*invocation_.verb);
        } else {
            print_help();
        }
        return {};
    }

    void expect_all_words()
    {
        std::size_t most = 0;
        for (const Argument &each : invocation_.verb->arguments) {
            if (each.required && invocation_.words.size() <= most) {
                misuse({each.name, " is required"});
            }
            most = each.many ? invocation_.words.size() : most + 1;
        }
        for (std::size_t i = most; i < invocation_.words.size(); i++)
            unexpected_.push_back(invocation_.words[i]);
        if (!unexpected_.empty()) complain_of_unexpected();
    }

    [[noreturn]] void complain_of_unexpected() const
    {
        const char *text = unexpected_.size() == 1 ? "The following argument was not expected:"
                                                   : "The following arguments were not expected:";
        misuse({text, " ", joined(unexpected_, " "), meant_});
    }

    const std::vector<std::string> &words_;
    std::size_t at_ = 0;
    bool only_words_ = false;
    std::optional<std::string> attached_;
    std::vector<std::string> unexpected_;
    std::string meant_; /* by the last of them that is an option */
    Invocation invocation_;
};

} // namespace

bool Invocation::has(std::string_view option) const
{
    return value_of(given, option) != nullptr;
}

std::string Invocation::value(std::string_view option) const
{
    const std::string *found = value_of(given, option);
    return found ? *found : "";
}

std::string Invocation::word(std::size_t index) const
{
    return index < words.size() ? words[index] : "";
}

std::vector<std::string> Invocation::words_from(std::size_t index) const
{
    return {words.begin() + static_cast<std::ptrdiff_t>(std::min(index, words.size())),
            words.end()};
}

long number_in(const char *name, const std::string &word, long most, long least)
{
    char *end = nullptr;
    const long number = std::strtol(word.c_str(), &end, 10);
    if (word.empty() || *end != '\0' || number < least || number > most) {
        misuse({name, ": Value ", word, " not in range ", std::to_string(least), " to ",
                std::to_string(most)});
    }
    return number;
}

std::span<const OptionWord> common_options()
{
    return common;
}

Invocation parse_command_line(const std::vector<std::string> &words)
{
    return Parser(words).parse_line();
}

Invocation parse_words(const Verb &verb, const std::vector<std::string> &words)
{
    return Parser(words).parse_words_of(verb);
}

} // namespace vorn::client
