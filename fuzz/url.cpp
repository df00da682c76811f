/* SPDX-License-Identifier: MIT */
/* Decoding URLs in place, held against a decoder that is written the other way round. */
#include "vorn/util.h"

#include <charconv>
#include <string>

#include "fuzz/target.h"

namespace {

/* The byte that three characters stand for; 0 when they stand for none. */
int decoded_byte(std::string_view three)
{
    int byte = 0;
    if (three.size() == 3 && three[0] == '%' && three[1] != '-') {
        std::from_chars(three.data() + 1, three.data() + 3, byte, 16);
    }
    return byte;
}

std::string decoded(std::string_view text)
{
    std::string result;
    while (!text.empty()) {
        const int byte = decoded_byte(text.substr(0, 3));
        result += byte ? static_cast<char>(byte) : text[0];
        text.remove_prefix(byte ? 3 : 1);
    }
    return result;
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    vorn::fuzz::ExactString text(vorn::fuzz::as_text(data, size));
    const std::string expected = decoded(text.get());

    vorn_util_url_decode(text.get());

    vorn::fuzz::require(expected == text.get(), "both decoders agree");
    return 0;
}
