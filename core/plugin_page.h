/* SPDX-License-Identifier: MIT */
#pragma once

#include <cstddef>
#include <cstdint>

namespace vorn {

/* Which plugin something belongs to: its place on the page, or none. */
using PluginOwner = std::uint8_t;
constexpr PluginOwner no_plugin = 0;

/* What of a plugin runs. The words for them are on the device's disk and in answers. */
enum class Callback : std::uint8_t {
    none,
    init,
    commit,
    refresh,
    check,
    amend,
    explain,
    validator,
    timer,
    socket,
    signal,
    inform,
    service,
    listener,
    file,
    saved,
    load,
    report,
    migration,
};
const char *word_for(Callback callback);
/* none for a word that is none of them. */
Callback callback_of(const char *word);

/* Whose code runs, and what of it: one word, so that one store tells all. 0 for the daemon's own.
 */
extern constinit volatile std::uint32_t *code_under_way;

/*
 * While this lives, the code of a plugin runs; of no plugin, the daemon's own. It may be called
 * from another plugin's, whose turn it is again afterwards.
 */
class InPlugin {
public:
    InPlugin(PluginOwner owner, Callback callback) : before_(*code_under_way)
    {
        const auto what = static_cast<std::uint32_t>(callback);
        *code_under_way = owner == no_plugin ? 0 : owner | what << 8;
    }
    InPlugin(const InPlugin &) = delete;
    ~InPlugin() { *code_under_way = before_; }

    /* For a function without a record: whose file it is in. Of no plugin, nothing changes hands. */
    static InPlugin by_code(const void *function, Callback callback);

private:
    std::uint32_t before_;
};

/* Whose code runs just now: what is registered belongs to it. */
inline PluginOwner current_plugin()
{
    return static_cast<PluginOwner>(*code_under_way);
}

/* The same for a function that is handed over, which may be the daemon's own. */
PluginOwner owner_of_handler(const void *function);
/*
 * How a file is known again: by what is in it. Its number and its times are new at each boot of a
 * device whose files are unpacked into memory then.
 */
struct FileIdentity {
    std::uint64_t size;
    std::uint64_t digest; /* 0 while it is not known, which it is once it is under suspicion */
};

/* One plugin on the page. */
struct PluginSlot {
    char name[64]; /* its file's */
    FileIdentity file;
    std::uint32_t deaths; /* of the daemon in its code, in a row */
    std::int32_t signal;  /* of the last one; 0 when nobody could tell */
    Callback callback;    /* of the last one */
    bool is_loaded;       /* by this daemon */
};

constexpr unsigned int most_plugins = 64;
constexpr std::uint32_t deaths_until_left_out = 3;

/* What outlives the daemon. Names are only found by those who know this layout. */
struct PluginPage {
    char mark[16];
    std::uint32_t size;
    std::uint32_t under_way; /* see code_under_way */
    std::int32_t signal;     /* that ends the daemon */
    PluginSlot slots[most_plugins];
};

/*
 * Maps the file, and counts what the daemon before this one died of. Where that can't be, the page
 * is memory that ends with this process, filled from the record on the disk; without any memory
 * nobody is watched. To be called before the first plugin is loaded.
 */
void open_plugin_page(const char *path);
void close_plugin_page();

/* Null when there is none. */
extern constinit PluginPage *plugin_page;

/*
 * The place of a plugin, which is made if need be; no_plugin for one whose name is too long, or one
 * too many. A file that is not the one that was under suspicion is under none.
 */
PluginOwner place_on_page(const char *path, const char *name);
PluginSlot *slot_of(PluginOwner owner);
PluginSlot *find_slot(const char *name);
bool is_left_out(const PluginSlot &slot);

/* The row of deaths is over: of all that are loaded, or of one whatever it is. */
void forget_deaths();
void forget_deaths_of(PluginSlot &slot);

/* An orderly end is nobody's fault, and ends the row unless it came in a plugin's code. */
void end_in_order();

/* Notes where the code of a plugin is, by a function of it. */
void note_code(PluginOwner owner, const void *function);

} // namespace vorn
