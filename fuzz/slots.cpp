/* SPDX-License-Identifier: MIT */
/*
 * The small files beside the generations, which tell a boot what to come up with, as another
 * firmware or a failing disk may have left them. What is read stays in its room, makes sense, and
 * is read again as it is written.
 */
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "fuzz/target.h"

extern "C" {
#include "state_text.h"
}

namespace {

using vorn::fuzz::require;

constexpr int most_boots = 9999;

template <std::size_t room>
bool is_word(const char (&text)[room])
{
    const std::size_t length = strnlen(text, room);
    return length < room && std::strcspn(text, " \t\n\v\f\r") == length;
}

template <std::size_t room>
bool is_some_word(const char (&text)[room])
{
    return text[0] != '\0' && is_word(text);
}

void require_sense(const boots_state &state)
{
    require(state.boots >= 0 && state.boots <= most_boots, "boots are counted");
    require((state.boots > 0) == is_some_word(state.digest), "boots are those of a document");
    require(is_word(state.fallback), "a fallback is a word");
    require(state.count >= 0 && state.count <= most_proven, "proven ones have their room");
    for (int i = 0; i < state.count; i++)
        require(is_some_word(state.proven[i].digest), "what is proven is a document");
}

void require_sense(const upgrade_state &state)
{
    require(is_word(state.confirmed), "a schema is a word");
    require(is_word(state.ran) && is_word(state.document), "what ran is two words");
    require(!state.ran[0] == !state.document[0], "a schema ran with a document");
    require(state.failed_count >= 0 && state.failed_count <= most_failed, "failed ones have room");
    for (int i = 0; i < state.failed_count; i++) {
        require(is_some_word(state.failed[i]), "what failed is a document");
        require(upgrade_state_place_of_failed(&state, state.failed[i]) == i, "each failed once");
    }
}

template <typename State>
State taken_from(std::string text, void (*take)(State *, std::FILE *))
{
    State state;
    std::FILE *file = text.empty() ? nullptr : fmemopen(text.data(), text.size(), "r");
    require(file || text.empty(), "a text can be read");
    take(&state, file);
    if (file) std::fclose(file);
    require_sense(state);
    return state;
}

template <typename State>
std::string printed(const State &state, void (*print)(const State *, std::FILE *))
{
    char *text = nullptr;
    std::size_t size = 0;
    std::FILE *file = open_memstream(&text, &size);
    require(file, "a text can be written");
    print(&state, file);
    std::fclose(file);
    std::string copy(text, size);
    std::free(text);
    return copy;
}

template <typename State>
void read_twice(const std::string &text, void (*take)(State *, std::FILE *),
                void (*print)(const State *, std::FILE *))
{
    const std::string first = printed(taken_from(text, take), print);
    const std::string second = printed(taken_from(first, take), print);
    require(first == second, "what was written is read as it was");
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const std::string text(vorn::fuzz::as_text(data, size));
    read_twice(text, boots_state_take, boots_state_print);
    read_twice(text, upgrade_state_take, upgrade_state_print);
    return 0;
}
