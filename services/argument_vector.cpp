/* SPDX-License-Identifier: MIT */
/* Argument vectors from variable lists. */
#include "services/argument_vector.h"

#include "vorn/debug.h"

namespace vorn {

ArgumentVector::ArgumentVector(const char *program, Arguments &more)
{
    const char *argument = program;
    while (append(argument) && argument)
        argument = va_arg(more.list, const char *);
}

bool ArgumentVector::append(const char *argument)
{
    const std::size_t size = sizeof(char *) * (count_ + 1);
    char **before = slots_.release();
    auto **grown =
        static_cast<char **>(noted(before ? std::realloc(before, size) : std::malloc(size)));
    if (!grown) {
        vorn_debug_perror(before ? "realloc" : "malloc");
        std::free(before);
        return false;
    }
    slots_.reset(grown);
    /* execvp wants them writable for no other reason than its age; nobody writes them. */
    grown[count_++] = const_cast<char *>(argument);
    return true;
}

} // namespace vorn
