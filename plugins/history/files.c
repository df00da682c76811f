/* SPDX-License-Identifier: MIT */
#include "files.h"

#include "vorn/vorn.h"

#include <stdlib.h>

void files_read(struct generation *generation)
{
    const char *path;
    for (unsigned int i = 0; (path = vorn_config_get_file(i)) != NULL; i++) {
        size_t size;
        char *bytes = vorn_config_read_file(path, &size);
        if (bytes == NULL) continue;
        if (generation->file_count == generation_most_files) {
            free(bytes);
            break;
        }
        const struct generation_file file = {path, bytes, size};
        generation->files[generation->file_count++] = file;
    }
}

void files_free(struct generation *generation)
{
    for (int i = 0; i < generation->file_count; i++)
        free((char *)(size_t)generation->files[i].bytes);
}

void files_hand_over(const struct generation *generation)
{
    for (int i = 0; i < generation->file_count; i++) {
        const struct generation_file *file = &generation->files[i];
        vorn_config_take_file(file->path, file->bytes, file->size);
    }
}
