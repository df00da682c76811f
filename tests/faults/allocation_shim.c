/* SPDX-License-Identifier: MIT */
/*
 * Preloaded into the daemon: its allocator, and that of every library in it, which counts and
 * refuses one allocation on demand, or all. The children are left alone, before and after they
 * execute something else.
 */
#include <errno.h>
#include <fcntl.h>
#include <pthread.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <unistd.h>

#include "allocation_control.h"

void *__libc_malloc(size_t size);
void *__libc_calloc(size_t count, size_t size);
void *__libc_realloc(void *memory, size_t size);
void *__libc_memalign(size_t alignment, size_t size);
void __libc_free(void *memory);

static struct allocation_control *control;

static void stop_counting(void)
{
    control = NULL;
}

__attribute__((constructor)) static void start_counting(void)
{
    const char *path = getenv(ALLOCATION_CONTROL_VARIABLE);
    const int file = path != NULL ? open(path, O_RDWR | O_CLOEXEC) : -1;

    unsetenv("LD_PRELOAD");
    unsetenv(ALLOCATION_CONTROL_VARIABLE);
    pthread_atfork(NULL, NULL, stop_counting);
    if (file < 0) return;
    void *mapped = mmap(NULL, sizeof *control, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    close(file);
    if (mapped != MAP_FAILED) control = mapped;
}

static int is_refused(void)
{
    if (control == NULL) return 0;
    control->made++;
    if (!control->refuse_all && control->made != control->refuse_at) return 0;
    control->refused = 1;
    errno = ENOMEM;
    return 1;
}

static void *counted(void *memory)
{
    if (control != NULL && memory != NULL) control->live++;
    return memory;
}

void *malloc(size_t size)
{
    return is_refused() ? NULL : counted(__libc_malloc(size));
}

void *calloc(size_t count, size_t size)
{
    return is_refused() ? NULL : counted(__libc_calloc(count, size));
}

void *realloc(void *memory, size_t size)
{
    if (memory == NULL) return malloc(size);
    if (size == 0) {
        free(memory);
        return NULL;
    }
    return is_refused() ? NULL : __libc_realloc(memory, size);
}

void *memalign(size_t alignment, size_t size)
{
    return is_refused() ? NULL : counted(__libc_memalign(alignment, size));
}

void *aligned_alloc(size_t alignment, size_t size)
{
    return memalign(alignment, size);
}

int posix_memalign(void **memory, size_t alignment, size_t size)
{
    void *made = memalign(alignment, size);
    if (made == NULL) return ENOMEM;
    *memory = made;
    return 0;
}

void free(void *memory)
{
    if (control != NULL && memory != NULL) control->live--;
    __libc_free(memory);
}
