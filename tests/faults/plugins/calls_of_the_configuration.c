/* SPDX-License-Identifier: MIT */
/* Calls about the files of the configuration: saving it, keeping it, what goes with it. */
#include "vorn/vorn.h"

#include <stdlib.h>
#include <string.h>

#include "calls.h"

static int saves_heard_of;

static void hear_of_save(const char *document, size_t size, void *data)
{
    (void)data;
    if (document[size] == '\0') saves_heard_of++;
}

/* Nothing is saved in this scenario. */
static enum outcome config_add_saved_fn(void)
{
    return done_if(vorn_config_add_saved_fn(hear_of_save, NULL) == 0 && saves_heard_of == 0);
}

static int loads_heard_of;

static void hear_of_load(void *data)
{
    (void)data;
    loads_heard_of++;
}

/* The only load it could hear of was before. */
static enum outcome config_add_load_fn(void)
{
    return done_if(vorn_config_add_load_fn(hear_of_load, NULL) == 0 && loads_heard_of == 0);
}

static enum outcome config_write_document(void)
{
    char *document = vorn_config_write_document(vorn_config_get_running());
    if (document == NULL) return REFUSED;
    const int whole = strstr(document, "</config>") != NULL;
    free(document);
    return whole ? DONE : BROKEN;
}

static void take_nothing(const char *bytes, size_t size, void *data)
{
    (void)bytes;
    (void)size;
    (void)data;
}

/* What was kept is dropped whether or not the disk can be read. */
static enum outcome config_release(void)
{
    static const char path[] = "/tmp/of-calls";
    static int is_added;
    if (!is_added && vorn_config_add_file(path, take_nothing, NULL) != 0) return REFUSED;
    is_added = 1;
    vorn_config_hold("it is on trial");
    const int kept = vorn_config_write_file(path, "x", 1) == 0;
    vorn_config_release();
    size_t size = 0;
    char *left = vorn_config_read_file(path, &size);
    free(left);
    if (left != NULL || vorn_config_is_held()) return BROKEN;
    return done_if(kept);
}

static enum outcome config_forget_kept(void)
{
    vorn_config_forget_kept();
    return done_if(vorn_config_get_kept(0) == NULL);
}

static enum outcome config_forget_kept_of(void)
{
    return done_if(vorn_config_forget_kept_of("Toaster", NULL) == 0);
}

const struct call configuration_calls[] = {
    {"vorn_config_add_saved_fn", config_add_saved_fn, KEEPS},
    {"vorn_config_add_load_fn", config_add_load_fn, KEEPS},
    {"vorn_config_forget_kept", config_forget_kept, TAKES_NONE},
    {"vorn_config_forget_kept_of", config_forget_kept_of, TAKES_NONE},
    {"vorn_config_write_document", config_write_document, FREES},
    {"vorn_config_release", config_release, KEEPS},
    {NULL, NULL, FREES},
};
