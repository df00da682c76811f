/* SPDX-License-Identifier: MIT */
/*
 * A generation of the history as somebody may have left it on the disk: as its bytes are, and as
 * the text that was packed. What is taken apart lies within the text and reads the same once it is
 * packed again.
 */
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <zlib.h>

#include "fuzz/target.h"

extern "C" {
#include "generation.h"
}

namespace {

using vorn::fuzz::require;

std::vector<unsigned char> packed_as_gzip(const std::uint8_t *data, std::size_t size)
{
    constexpr int gzip = 15 + 16;
    z_stream stream{};
    require(deflateInit2(&stream, 1, Z_DEFLATED, gzip, 8, Z_DEFAULT_STRATEGY) == Z_OK, "zlib");
    std::vector<unsigned char> packed(deflateBound(&stream, size));
    stream.next_in = const_cast<Bytef *>(data);
    stream.avail_in = static_cast<uInt>(size);
    stream.next_out = packed.data();
    stream.avail_out = static_cast<uInt>(packed.size());
    require(deflate(&stream, Z_FINISH) == Z_STREAM_END, "an input is packed");
    packed.resize(stream.total_out);
    deflateEnd(&stream);
    return packed;
}

/* All that it says, in one text. */
std::string told_by(const generation &told)
{
    std::string all = std::to_string(told.number) + '\n' + std::to_string(told.time);
    for (const char *text :
         {told.user, told.process, told.program, told.origin, told.comment, told.schema,
          told.commit, told.changes, told.result, told.providers, told.failures, told.digest})
        all.append("\n").append(text);
    all.append("\n").append(told.document, told.size);
    for (int i = 0; i < told.file_count; i++) {
        const generation_file &file = told.files[i];
        all.append("\n").append(file.path).append("\n").append(file.bytes, file.size);
    }
    return all;
}

void require_the_same_again(const generation &first)
{
    std::size_t size = 0;
    generation second;
    unsigned char *packed = generation_pack(&first, &size);
    require(packed, "what was read can be packed");
    require(!generation_unpack(packed, size, &second), "what was packed can be read");
    require(told_by(first) == told_by(second), "it says the same");
    generation_free(&second);
    std::free(packed);
}

void read(const unsigned char *packed, std::size_t size)
{
    generation told;
    if (const char *reason = generation_unpack(packed, size, &told)) {
        require(*reason != '\0', "a reason is given");
        return;
    }
    require(std::strlen(told.document) <= told.size, "a document ends with a NUL");
    if (told.time >= 0) require_the_same_again(told);
    generation_free(&told);
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const std::vector<unsigned char> copy(data, data + size);
    read(copy.data(), size);
    const std::vector<unsigned char> packed = packed_as_gzip(data, size);
    read(packed.data(), packed.size());
    return 0;
}
