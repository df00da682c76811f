/* SPDX-License-Identifier: MIT */
/* The daemon's own loading, with its log caught and its registries watched. */
#include "loading.h"

#include "api/sockets/inform_state.h"
#include "change/provider_record.h"
#include "change/providers_state.h"
#include "core/debug_state.h"
#include "core/plugins.h"
#include "vorn/vorn.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <sstream>

#include <unistd.h>

namespace vorn::check {

namespace {

constexpr unsigned int patience_seconds = 10;
constexpr int usual_level = 1;

char *log_text = nullptr;
std::size_t log_size = 0;
std::size_t log_taken = 0;

using Names = std::vector<std::string>;

Names class_names()
{
    Names names;
    vorn_classes_iterator *walk = vorn_classes_new_iterator();
    while (const vorn_class *klass = vorn_classes_iterator_next(walk))
        names.emplace_back(vorn_class_get_name(klass));
    vorn_classes_delete_iterator(walk);
    return names;
}

template <typename Table>
Names names_of(const Table &table)
{
    Names names;
    for (auto [name, value] : table)
        names.emplace_back(name);
    return names;
}

Names handler_names()
{
    return inform_handlers ? names_of(inform_handlers->by_name) : Names();
}

/* Registries only grow, at their end. */
Names newer(const Names &all, std::size_t known)
{
    return Names(all.begin() + static_cast<std::ptrdiff_t>(known), all.end());
}

Plugin load_one(const std::string &path)
{
    Plugin plugin;
    plugin.path = path;
    plugin.name = std::filesystem::path(path).filename();
    const std::size_t classes = class_names().size();
    const std::size_t providers = names_of(provider_registry->registered).size();
    const std::size_t handlers = handler_names().size();

    std::error_code ignored;
    std::string folder = std::filesystem::absolute(path, ignored).parent_path();
    folder += '/';
    note_callbacks(plugin.callbacks);
    alarm(patience_seconds);
    plugin.loaded = load_plugin(folder.c_str(), plugin.name.c_str()) == 0;
    alarm(0);

    plugin.classes = newer(class_names(), classes);
    plugin.providers = newer(names_of(provider_registry->registered), providers);
    for (const std::string &name : plugin.providers) {
        const vorn_provider *provider = provider_registry->registered.get(name.c_str());
        if (provider->commit_fn && !provider->explain_fn) plugin.silent.push_back(name);
    }
    plugin.handlers = newer(handler_names(), handlers);
    plugin.messages = take_messages();
    std::erase(plugin.messages, "Loading " + plugin.name + ".");
    return plugin;
}

} // namespace

std::vector<std::string> take_messages()
{
    constexpr char prefix[] = "vorn: ";
    std::fflush(debug_state.stream);
    std::istringstream text(std::string(log_text + log_taken, log_size - log_taken));
    log_taken = log_size;
    Names messages;
    for (std::string line; std::getline(text, line);) {
        messages.push_back(line.rfind(prefix, 0) == 0 ? line.substr(sizeof prefix - 1) : line);
    }
    return messages;
}

void set_log_level(int level)
{
    debug_state.level = level;
}

Loading load(const std::vector<std::string> &paths, char *current, std::size_t room)
{
    Loading loading;
    debug_state = {usual_level, 0, 0, open_memstream(&log_text, &log_size)};
    vorn_providers_init();
    eloop_init(nullptr);
    vorn_service_init();
    vorn_process_no_actions = 1; /* what is checked acts on no machine, least of all on this one */
    take_messages();
    for (const std::string &path : paths) {
        std::snprintf(current, room, "%s", path.c_str());
        loading.plugins.push_back(load_one(path));
    }
    current[0] = '\0';
    loading.classes_valid = vorn_classes_done_adding() == 0;
    loading.class_messages = take_messages();
    for (Plugin &plugin : loading.plugins) {
        for (const std::string &stray : find_strays(plugin.callbacks))
            plugin.messages.push_back(stray);
    }
    take_messages(); /* what looking for them has logged */
    loading.order_valid = vorn_providers_done_adding() == 0;
    loading.provider_messages = take_messages();
    return loading;
}

} // namespace vorn::check
