/* SPDX-License-Identifier: MIT */
/* What becomes of each call that prints: a checked one, where the C library has it for this
   compiler and this language. */
#include <cstdarg>
#include <cstdio>

namespace {

void print(const char *format, ...)
{
    std::va_list values;
    va_start(values, format);
    std::vfprintf(stderr, format, values);
    va_end(values);
}

} // namespace

int main(int count, char **)
{
    print("%d\n", count);
    std::printf("%d\n", count);
    std::fprintf(stderr, "%d\n", count);
}
