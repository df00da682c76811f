/* SPDX-License-Identifier: MIT */
/*
 * The message of the day, as a plugin in C++. The daemon carries no C++ runtime, so this one does
 * without exceptions, type information and the standard library's objects; what it owns it owns
 * through small classes.
 */
#include <cstdio>
#include <cstring>

#include <unistd.h>
#include <vorn/vorn.h>

namespace {

constexpr char class_name[] = "motd";
constexpr char file_name[] = "/etc/motd";
constexpr char scratch_name[] = "/etc/motd.new";

class File {
public:
    explicit File(const char *name) : stream_(std::fopen(name, "w")) {}
    File(const File &) = delete;
    File &operator=(const File &) = delete;
    ~File() { close(); }

    bool write(const char *text) { return stream_ && std::fprintf(stream_, "%s\n", text) >= 0; }
    bool close()
    {
        std::FILE *stream = stream_;
        stream_ = nullptr;
        return stream && std::fclose(stream) == 0;
    }

private:
    std::FILE *stream_;
};

int is_text(const char *value)
{
    return vorn_input_is_phrase(value, static_cast<int>(std::strlen(value)));
}

void text_changed(vorn_instance *, const char *, const char *now, const char *)
{
    unlink(scratch_name); /* a left-over, or a FIFO, which would be waited for */
    File file(scratch_name);
    if (!file.write(now ? now : "") || !file.close() || std::rename(scratch_name, file_name) != 0) {
        vorn_debug_eprintf("motd: can't write %s.\n", file_name);
    }
}

void add_class()
{
    vorn_property *text = vorn_property_new("text");
    vorn_property_set_is_valid_fn(text, is_text);
    vorn_property_set_syntax(text, "<printable ASCII>");

    vorn_class *motd = vorn_class_new(class_name);
    vorn_class_set_type(motd, VORN_CLASS_SINGLETON);
    vorn_class_set_persistence(motd, 1);
    vorn_class_add_property(motd, text);
    vorn_classes_add(motd);
}

} // namespace

void vorn_plugin_init()
{
    if (!vorn_plugin_new("1.0")) return;
    add_class();

    vorn_committer *committer = vorn_committer_new();
    vorn_committer_set_property_change_fn(committer, class_name, "text", text_changed);
    vorn_provider *provider = vorn_provider_new(class_name);
    vorn_provider_set_commit_fn(provider, vorn_committer_fn, committer);
    vorn_providers_add(provider);
    vorn_providers_order(class_name, "save");
}
