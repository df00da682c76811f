/* SPDX-License-Identifier: MIT */
#include "output.h"

#include "vorn/vorn.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <unistd.h>

#include "vorn-plugin/patience.h"

enum {
    piece_room = 1024,
    /* What a pipe holds, except for what a process that is left goes on writing. */
    pipe_pieces = 64,
};

/* More than 0 for what was read, 0 at the end, less when there is nothing now. */
static ssize_t read_piece(struct output *output)
{
    char bytes[piece_room];
    const ssize_t count = read(output->descriptor, bytes, sizeof bytes);
    if (count <= 0) return count == -1 && errno != EAGAIN && errno != EINTR ? 0 : count;
    supervise_hear(&output->words, bytes, (size_t)count, patience_now_us() / 1000);
    if (vorn_debug_get() > 0) fwrite(bytes, 1, (size_t)count, vorn_debug_get_stream());
    return count;
}

static void read_more(int descriptor, void *eloop_data, void *data)
{
    (void)descriptor;
    (void)eloop_data;
    struct output *output = data;
    if (read_piece(output) != 0) return;
    supervise_close_output(output);
    output->ended(output->data);
}

int supervise_open_output(struct output *output)
{
    int ends[2];
    output->words.text[0] = '\0';
    if (vorn_process_no_actions || pipe2(ends, O_CLOEXEC) != 0) return -1;
    if (fcntl(ends[0], F_SETFL, O_NONBLOCK) == 0 &&
        eloop_register_read_sock(ends[0], read_more, NULL, output) == 0) {
        output->descriptor = ends[0];
        return ends[1];
    }
    close(ends[0]);
    close(ends[1]);
    return -1;
}

void supervise_read_the_rest(struct output *output)
{
    for (int i = 0; i < pipe_pieces && output->descriptor != -1 && read_piece(output) > 0; i++)
        continue;
}

void supervise_close_output(struct output *output)
{
    if (output->descriptor == -1) return;
    eloop_unregister_read_sock(output->descriptor);
    close(output->descriptor);
    output->descriptor = -1;
}
