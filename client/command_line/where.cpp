/* SPDX-License-Identifier: MIT */
/* Conditions: a small language of people's, translated to the daemon's expressions. */
#include "where.h"

#include <cctype>
#include <cstring>

#include "failure.h"
#include "lsql.h"
#include "text.h"

namespace vorn::client {

namespace {

constexpr char signs[] = "=!()\"'";
/* Far less than the daemon takes: others than people write conditions, too. */
constexpr int deepest = 64;

class Translator {
public:
    explicit Translator(const std::string &condition) : text_(condition) {}

    void translate(pugi::xml_node where)
    {
        disjunction(where);
        skip_blanks();
        if (at_ != text_.size()) expect("\"and\", \"or\" or the end");
    }

private:
    [[noreturn]] void expect(std::string_view expected) const
    {
        fail(misused, {"the condition can't be understood: ", text_.substr(0, at_), " >>> ",
                       text_.substr(at_), "\nexpected ", expected});
    }

    void skip_blanks()
    {
        while (at_ < text_.size() && std::isspace(static_cast<unsigned char>(text_[at_])))
            at_++;
    }

    bool take(char sign)
    {
        skip_blanks();
        if (at_ >= text_.size() || text_[at_] != sign) return false;
        at_++;
        return true;
    }

    std::string bare_word() const
    {
        std::size_t end = at_;
        while (end < text_.size() && !std::isspace(static_cast<unsigned char>(text_[end])) &&
               !std::strchr(signs, text_[end]))
            end++;
        return text_.substr(at_, end - at_);
    }

    bool take_word(const char *word)
    {
        skip_blanks();
        if (bare_word() != word) return false;
        at_ += std::strlen(word);
        return true;
    }

    std::string word(const char *what)
    {
        skip_blanks();
        std::string found = bare_word();
        if (found.empty()) expect(what);
        at_ += found.size();
        return found;
    }

    std::string quoted(char quote)
    {
        const std::size_t end = text_.find(quote, at_);
        if (end == std::string::npos) expect(concat({"the closing ", {&quote, 1}}));
        std::string value = text_.substr(at_, end - at_);
        at_ = end + 1;
        return value;
    }

    std::string value()
    {
        if (take('"')) return quoted('"');
        if (take('\'')) return quoted('\'');
        return word("a value");
    }

    /* One operand needs no operator around it. */
    void chain(pugi::xml_node parent, const char *operation,
               void (Translator::*operand)(pugi::xml_node))
    {
        pugi::xml_node node = parent.append_child(operation);
        int operands = 0;
        do {
            (this->*operand)(node);
            operands++;
        } while (take_word(operation));
        if (operands > 1) return;
        parent.append_copy(node.first_child());
        parent.remove_child(node);
    }

    void disjunction(pugi::xml_node parent) { chain(parent, "or", &Translator::conjunction); }
    void conjunction(pugi::xml_node parent) { chain(parent, "and", &Translator::negation); }

    void negation(pugi::xml_node parent)
    {
        if (++depth_ > deepest) expect("less that is nested");
        if (take_word("not")) {
            negation(parent.append_child("not"));
        } else if (take('(')) {
            disjunction(parent);
            if (!take(')')) expect("\")\"");
        } else {
            comparison(parent);
        }
        depth_--;
    }

    void comparison(pugi::xml_node parent)
    {
        const std::string left = word("a property");
        if (take('=')) {
            equality(parent, left);
        } else if (take('!')) {
            if (!take('=')) expect("\"=\" after \"!\"");
            equality(parent.append_child("not"), left);
        } else {
            append_operand(parent, left);
        }
    }

    void equality(pugi::xml_node parent, const std::string &left)
    {
        pugi::xml_node node = parent.append_child("eq");
        append_operand(node, left);
        const std::string right = value();
        if (right.empty()) expect("a value with something in it: nothing equals an empty one");
        set_text(node.append_child("value"), right);
    }

    static void append_operand(pugi::xml_node parent, const std::string &left)
    {
        const bool is_metadata = left[0] == '@';
        set_text(parent.append_child(is_metadata ? "metadata" : "property"),
                 left.substr(is_metadata ? 1 : 0));
    }

    const std::string &text_;
    std::size_t at_ = 0;
    int depth_ = 0;
};

} // namespace

void append_condition(pugi::xml_node where, const std::string &condition)
{
    Translator(condition).translate(where);
}

} // namespace vorn::client
