/* SPDX-License-Identifier: MIT */
/* The lines before the default file's document, and the copy of what follows them. */
#include "config/default_file.h"
#include "config/file_replace.h"
#include "core/debug_state.h"

#include <cstdlib>
#include <cstring>

#include "fuzz/target.h"

namespace {

constexpr int highest_code = 13;

/* A stream into memory, and what was written there. */
struct Memory {
    ~Memory()
    {
        std::fclose(stream);
        std::free(text);
    }
    std::size_t written()
    {
        std::fflush(stream);
        return size;
    }

    char *text = nullptr;
    std::size_t size = 0;
    std::FILE *stream = open_memstream(&text, &size);
};

void check_document(std::FILE *file, const vorn::DefaultHeader &header, std::size_t rest)
{
    Memory copy;
    const long copied = vorn::copy_bytes(file, copy.stream, header.length);

    vorn::fuzz::require(copied >= 0 && static_cast<std::size_t>(copied) <= rest,
                        "no more is copied than there is");
    vorn::fuzz::require(header.length < 0 || copied <= header.length,
                        "no more is copied than was announced");
    vorn::fuzz::require(copy.written() == static_cast<std::size_t>(copied),
                        "what is copied arrives");
}

void check_header(std::FILE *file, std::size_t size)
{
    vorn::DefaultHeader header;
    const int code = vorn::read_default_header(file, header);

    vorn::fuzz::require(code >= 0 && code <= highest_code, "a header gives a code");
    if (code != 0) return;
    vorn::fuzz::require(std::strlen(header.md5sum) == vorn::md5_length, "a digest is whole");
    check_document(file, header, size - static_cast<std::size_t>(std::ftell(file)));
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    Memory log;
    vorn::debug_state = {0, 0, 0, log.stream};
    vorn::fuzz::ExactCopy bytes(vorn::fuzz::as_text(data, size));
    std::FILE *file = fmemopen(size ? bytes.get() : nullptr, size ? size : 1, size ? "r" : "w+");
    vorn::fuzz::require(file != nullptr, "memory can be read as a file");

    check_header(file, size);

    std::fclose(file);
    vorn::debug_state = {0, 0, 0, stderr};
    return 0;
}
