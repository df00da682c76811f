/* SPDX-License-Identifier: MIT */
#include "generation.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <zlib.h>

static const char first_line[] = "vorn generation 1\n";

enum {
    gzip_format = 15 + 16, /* of the largest window, for deflateInit2 */
    usual_memory = 8,
    gzip_smallest = 18,
    most_packed = 1100, /* a byte can't stand for more of them */
    number_room = 24
};

struct text_of {
    const char *key;
    size_t place;
};

#define TEXT(field)                                                                                \
    {                                                                                              \
#        field, offsetof(struct generation, field)                                                 \
    }
static const struct text_of texts[] = {
    TEXT(user),   TEXT(process), TEXT(program), TEXT(origin),    TEXT(comment),  TEXT(schema),
    TEXT(commit), TEXT(changes), TEXT(result),  TEXT(providers), TEXT(failures), TEXT(digest),
};
enum { text_count = sizeof texts / sizeof *texts };

static const char **text_in(struct generation *generation, const struct text_of *text)
{
    return (const char **)(void *)((char *)generation + text->place);
}

static const char *text_of(const struct generation *generation, const struct text_of *text)
{
    const char *value =
        *(const char *const *)(const void *)((const char *)generation + text->place);
    return value != NULL ? value : "";
}

void generation_digest(const struct generation *generation, char digest[generation_digest_room])
{
    unsigned long crc = crc32(0, (const Bytef *)generation->document, (uInt)generation->size);
    unsigned long adler = adler32(1, (const Bytef *)generation->document, (uInt)generation->size);
    unsigned long sizes = (unsigned long)generation->size;
    for (int i = 0; i < generation->file_count; i++) {
        const struct generation_file *file = &generation->files[i];
        crc = crc32(crc, (const Bytef *)file->path, (uInt)strlen(file->path) + 1);
        crc = crc32(crc, (const Bytef *)file->bytes, (uInt)file->size);
        adler = adler32(adler, (const Bytef *)file->bytes, (uInt)file->size);
        sizes = sizes * 31 + (unsigned long)file->size;
    }
    snprintf(digest, generation_digest_room, "%08lx%08lx-%lx", crc, adler, sizes);
}

/* A text of its own line, whatever is in it; none of the bytes that end one is left. */
static void write_text(FILE *out, const char *key, const char *text)
{
    fprintf(out, "%s ", key);
    for (; *text != '\0'; text++) {
        const unsigned char byte = (unsigned char)*text;
        if (byte < ' ' || byte == '\\' || byte == 0x7f) {
            fprintf(out, "\\%02x", byte);
        } else {
            fputc(byte, out);
        }
    }
    fputc('\n', out);
}

/* Each piece of bytes is followed by a byte of which reading makes the null byte. */
static char *write_plain(const struct generation *generation, size_t *size)
{
    char *plain = NULL;
    FILE *out = open_memstream(&plain, size);
    if (out == NULL) return NULL;
    fputs(first_line, out);
    fprintf(out, "number %lu\ntime %lld\n", generation->number, (long long)generation->time);
    for (int i = 0; i < text_count; i++)
        write_text(out, texts[i].key, text_of(generation, &texts[i]));
    fprintf(out, "document %zu\n", generation->size);
    for (int i = 0; i < generation->file_count; i++) {
        char key[number_room];
        snprintf(key, sizeof key, "file %zu", generation->files[i].size);
        write_text(out, key, generation->files[i].path);
    }
    fputc('\n', out);
    fwrite(generation->document, 1, generation->size, out);
    fputc('\n', out);
    for (int i = 0; i < generation->file_count; i++) {
        fwrite(generation->files[i].bytes, 1, generation->files[i].size, out);
        fputc('\n', out);
    }
    const int failed = ferror(out);
    if (fclose(out) == 0 && !failed) return plain;
    free(plain);
    return NULL;
}

static unsigned char *pack(const char *plain, size_t plain_size, size_t *size)
{
    z_stream stream;
    memset(&stream, 0, sizeof stream);
    if (deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, gzip_format, usual_memory,
                     Z_DEFAULT_STRATEGY) != Z_OK) {
        return NULL;
    }
    const uLong room = deflateBound(&stream, (uLong)plain_size);
    unsigned char *packed = malloc(room);
    stream.next_in = (Bytef *)(size_t)plain;
    stream.avail_in = (uInt)plain_size;
    stream.next_out = packed;
    stream.avail_out = (uInt)room;
    const int whole = packed != NULL && deflate(&stream, Z_FINISH) == Z_STREAM_END;
    *size = (size_t)stream.total_out;
    deflateEnd(&stream);
    if (whole) return packed;
    free(packed);
    return NULL;
}

unsigned char *generation_pack(const struct generation *generation, size_t *size)
{
    size_t plain_size;
    char *plain = write_plain(generation, &plain_size);
    if (plain == NULL) return NULL;
    unsigned char *packed = plain_size <= generation_longest ? pack(plain, plain_size, size) : NULL;
    free(plain);
    return packed;
}

/* The size of the text stands at the end, so that a damaged file can't ask for any memory. */
static size_t told_size(const unsigned char *packed, size_t size)
{
    if (size < gzip_smallest) return 0;
    const unsigned char *end = packed + size;
    const size_t told =
        (size_t)end[-4] | (size_t)end[-3] << 8 | (size_t)end[-2] << 16 | (size_t)end[-1] << 24;
    return told <= generation_longest && told / most_packed <= size ? told : 0;
}

static const char *unpack(const unsigned char *packed, size_t size, char *plain, size_t plain_size)
{
    z_stream stream;
    memset(&stream, 0, sizeof stream);
    if (inflateInit2(&stream, gzip_format) != Z_OK) return "no memory to read it";
    stream.next_in = (Bytef *)(size_t)packed;
    stream.avail_in = (uInt)size;
    stream.next_out = (Bytef *)plain;
    stream.avail_out = (uInt)plain_size;
    const int result = inflate(&stream, Z_FINISH);
    const int whole =
        result == Z_STREAM_END && stream.avail_in == 0 && stream.total_out == plain_size;
    inflateEnd(&stream);
    if (result == Z_MEM_ERROR) return "no memory to read it";
    return whole ? NULL : "its checksum is wrong";
}

static int hex_digit(char character)
{
    static const char digits[] = "0123456789abcdef";
    const char *place = character != '\0' ? strchr(digits, character) : NULL;
    return place != NULL ? (int)(place - digits) : -1;
}

/* In place: what was written is never shorter. */
static int read_text(char *text)
{
    char *to = text;
    for (const char *from = text; *from != '\0'; from++) {
        if (*from != '\\') {
            *to++ = *from;
            continue;
        }
        const int high = hex_digit(from[1]);
        const int low = high >= 0 ? hex_digit(from[2]) : -1;
        if (low < 0 || (high == 0 && low == 0)) return 1;
        *to++ = (char)(high << 4 | low);
        from += 2;
    }
    *to = '\0';
    return 0;
}

/* Digits alone, which end with the text or, where more may follow, at a blank. */
static int read_number(const char *text, const char **after, unsigned long long *number)
{
    char *end;
    if (*text < '0' || *text > '9') return 1;
    *number = strtoull(text, &end, 10);
    *after = end;
    return 0;
}

static int read_size(const char *text, const char **after, size_t *size)
{
    unsigned long long number;
    if (read_number(text, after, &number) != 0 || number > generation_longest) return 1;
    *size = (size_t)number;
    return 0;
}

static int read_file_line(struct generation *generation, char *value)
{
    const char *after;
    if (generation->file_count == generation_most_files) return 1;
    struct generation_file *file = &generation->files[generation->file_count];
    if (read_size(value, &after, &file->size) != 0 || *after != ' ') return 1;
    char *path = value + (after - value) + 1;
    file->path = path;
    generation->file_count++;
    return read_text(path);
}

/* A line with a key that this program does not know is a later one's. */
static int read_line(struct generation *generation, const char *key, char *value)
{
    const char *after = "";
    unsigned long long number = 0;
    if (strcmp(key, "file") == 0) return read_file_line(generation, value);
    if (strcmp(key, "document") == 0) {
        return read_size(value, &after, &generation->size) != 0 || *after != '\0';
    }
    if (strcmp(key, "number") == 0) {
        const int failed = read_number(value, &after, &number);
        generation->number = (unsigned long)number;
        return failed || *after != '\0';
    }
    if (strcmp(key, "time") == 0) {
        const int failed = read_number(value, &after, &number);
        generation->time = (int64_t)number;
        return failed || *after != '\0';
    }
    for (int i = 0; i < text_count; i++) {
        if (strcmp(key, texts[i].key) != 0) continue;
        *text_in(generation, &texts[i]) = value;
        return read_text(value);
    }
    return 0;
}

/* The pieces of bytes follow one another up to the end. */
static int find_bytes(struct generation *generation, char *at, const char *end)
{
    const char **bytes = &generation->document;
    size_t size = generation->size;
    for (int i = -1;;) {
        if (size >= (size_t)(end - at) || at[size] != '\n') return 1;
        *bytes = at;
        at[size] = '\0';
        at += size + 1;
        if (++i == generation->file_count) return at != end;
        bytes = &generation->files[i].bytes;
        size = generation->files[i].size;
    }
}

static int take_apart(struct generation *generation, char *text, size_t size)
{
    char *at = text + sizeof first_line - 1;
    if (size < sizeof first_line || memcmp(text, first_line, sizeof first_line - 1) != 0) return 1;
    while (*at != '\n') {
        char *end = strchr(at, '\n');
        char *blank = strchr(at, ' ');
        if (end == NULL || blank == NULL || blank > end) return 1;
        *end = '\0';
        *blank = '\0';
        if (read_line(generation, at, blank + 1) != 0) return 1;
        at = end + 1;
    }
    return find_bytes(generation, at + 1, text + size);
}

const char *generation_unpack(const unsigned char *packed, size_t size,
                              struct generation *generation)
{
    memset(generation, 0, sizeof *generation);
    for (int i = 0; i < text_count; i++)
        *text_in(generation, &texts[i]) = "";
    const size_t plain_size = told_size(packed, size);
    if (plain_size == 0) return "it is not whole";
    char *plain = malloc(plain_size + 1);
    if (plain == NULL) return "no memory to read it";
    plain[plain_size] = '\0';
    const char *reason = unpack(packed, size, plain, plain_size);
    if (reason == NULL && take_apart(generation, plain, plain_size) != 0)
        reason = "what is in it makes no sense";
    if (reason == NULL) {
        generation->text = plain;
        return NULL;
    }
    free(plain);
    return reason;
}

void generation_free(struct generation *generation)
{
    free(generation->text);
    generation->text = NULL;
}
