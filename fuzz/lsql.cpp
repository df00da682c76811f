/* SPDX-License-Identifier: MIT */
/*
 * Requests, one after the other, to a populated board. Lines of three hyphens stand between them;
 * "!" before one makes it a passive one, "?" has it logged. Each is answered with a document, or
 * not at all when it is none; a transaction happens whole or not at all; the provider learns of
 * just what changed; and what comes of it is a consistent store.
 */
#include "config/config_state.h"
#include "core/debug_state.h"

#include <cstring>

#include "fuzz/board.h"
#include "fuzz/consistency.h"
#include "fuzz/request.h"
#include "fuzz/target.h"

namespace {

using namespace vorn::fuzz;

constexpr int level_that_shows_all = 6;

struct Request {
    std::string text;
    bool passive = false;
    bool logged = false;
};

Request read_request(std::string_view piece)
{
    Request request;
    for (; !piece.empty() && (piece[0] == '!' || piece[0] == '?'); piece.remove_prefix(1))
        (piece[0] == '!' ? request.passive : request.logged) = true;
    request.text = piece.substr(0, piece.find('\0'));
    return request;
}

/* What the outcome of a request depends on. */
struct Shape {
    bool is_document = false;
    bool is_transaction = false;
    bool is_explained = false;
};

bool is_called(const xmlNode *node, const char *name)
{
    return node && node->name && std::strcmp(vorn::plain(node->name), name) == 0;
}

Shape shape_of(const std::string &text)
{
    const vorn::XmlDocument document = vorn::parse_xml_text(text.c_str(), text.size());
    const xmlNode *root = document ? xmlDocGetRootElement(document.get()) : nullptr;
    return {document != nullptr,
            is_called(root, "lsql") && is_called(root->children, "write-transaction"),
            is_called(root, "explain")};
}

bool reports_error(const std::string &answer)
{
    const vorn::XmlDocument document = parsed_answer(answer);
    for (const xmlNode *node = xmlDocGetRootElement(document.get())->children; node;
         node = node->next) {
        if (is_called(node, "error")) return true;
    }
    return false;
}

void check_commits(const std::string &before, const std::string &after, bool may_commit)
{
    const std::vector<Commit> commits = take_commits();
    require(commits.size() <= (may_commit ? 1 : 0), "one request is one commit at most");
    for (const Commit &commit : commits) {
        require(commit.before == before, "a provider learns what was before");
        require(commit.after == after, "a provider learns what is");
    }
}

void check_request(const Request &request)
{
    const Shape shape = shape_of(request.text);
    const std::string before = state_of(vorn::running_config);

    const std::optional<std::string> answer = evaluate(request.text, request.passive);

    const std::string after = state_of(vorn::running_config);
    const bool failed = !answer || reports_error(*answer);
    require(answer.has_value() == shape.is_document, "a document is answered");
    require(!shape.is_transaction || !(failed || request.passive) || after == before,
            "a transaction that fails changes nothing");
    require(!shape.is_explained || after == before, "what is explained changes nothing");
    check_commits(before, after, !failed && !request.passive && !shape.is_explained);
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    std::string_view rest = as_text(data, size);

    set_up_board();
    const Board board;
    Board::populate();
    refreshes_uptime = true;
    while (!rest.empty()) {
        const Request request = read_request(next_piece(rest));
        vorn::debug_state.level = request.logged ? level_that_shows_all : 0;
        check_request(request);
    }
    vorn::debug_state.level = 0;
    require_consistent(vorn::running_config);
    return 0;
}
