/* SPDX-License-Identifier: MIT */
#include "report.h"

#include "change/providers_state.h"
#include "vorn/vorn.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>

namespace vorn::check {

namespace {

int print_problems(const std::vector<std::string> &messages)
{
    for (const std::string &message : messages)
        std::printf("  problem: %s\n", message.c_str());
    return static_cast<int>(messages.size());
}

void print_names(const char *what, const std::vector<std::string> &names)
{
    for (const std::string &name : names)
        std::printf("  %s %s\n", what, name.c_str());
}

/* One for each class: many plugins were written before there was anything to tell. */
void print_undescribed(const std::string &name)
{
    const vorn_class *klass = vorn_classes_get(name.c_str());
    std::string missing =
        klass && vorn_class_get_label(klass) && vorn_class_get_help(klass) ? "" : " itself";
    vorn_class_property_iterator *walk = vorn_class_new_property_iterator(klass);
    while (vorn_class_property_iterator_has_next(walk)) {
        const vorn_property *property = vorn_class_property_iterator_next(walk);
        if (vorn_property_get_label(property) && vorn_property_get_help(property)) continue;
        missing.append(missing.empty() ? " " : ", ").append(vorn_property_get_name(property));
    }
    vorn_class_delete_property_iterator(walk);
    if (missing.empty()) return;
    std::printf("  notice: class %s has no label and help for people:%s\n", name.c_str(),
                missing.c_str());
}

/* It may be right: a plugin whose file has got another name keeps its schema's. */
void print_schemas_of_other_names(const Plugin &plugin)
{
    const std::string stem = std::filesystem::path(plugin.name).stem();
    for (unsigned int rank = 0; const char *name = vorn_schema_get_name(rank); rank++) {
        if (vorn_schema_get_plugin(name) != plugin.name || name == stem) continue;
        std::printf("  notice: schema %s is not named after its file: a firmware whose plugin "
                    "declares none reads what is newer as its own\n",
                    name);
    }
}

int print_plugin(const Plugin &plugin)
{
    std::printf("%s%s\n", plugin.name.c_str(), plugin.loaded ? "" : ": not loaded");
    print_names("class", plugin.classes);
    print_names("provider", plugin.providers);
    print_names("inform handler", plugin.handlers);
    if (!plugin.classes.empty() && plugin.providers.empty()) {
        std::printf("  notice: no provider comes with its classes: nothing is applied\n");
    }
    for (const std::string &name : plugin.classes)
        print_undescribed(name);
    for (const std::string &name : plugin.silent) {
        std::printf("  notice: provider %s can't explain what its commit would do\n", name.c_str());
    }
    print_schemas_of_other_names(plugin);
    int problems = print_problems(plugin.messages);
    if (!plugin.loaded && problems == 0) problems++;
    return problems;
}

/* Who registered it; a demand may name a provider that nobody brings. */
std::string owner_of(const Loading &loading, const std::string &provider)
{
    for (const Plugin &plugin : loading.plugins) {
        const auto &names = plugin.providers;
        if (std::find(names.begin(), names.end(), provider) != names.end()) return plugin.name;
    }
    return "not present";
}

} // namespace

int report(const Loading &loading)
{
    int problems = 0;
    std::printf("Plugins\n\n");
    for (const Plugin &plugin : loading.plugins)
        problems += print_plugin(plugin);

    std::printf("\nClasses (r readable, w writable, i required on insert, p saved)\n\n");
    std::fflush(stdout);
    vorn_classes_print(stdout);
    problems += print_problems(loading.class_messages);

    std::printf("Providers, in order\n\n");
    for (const char *name : provider_registry->ordered)
        std::printf("  %-30s %s\n", name, owner_of(loading, name).c_str());
    problems += print_problems(loading.provider_messages);
    return problems;
}

int report_problems(const Loading &loading)
{
    int problems = 0;
    const auto tell = [&](const std::string &name, const std::vector<std::string> &messages) {
        for (const std::string &message : messages)
            std::fprintf(stderr, "%s: %s\n", name.c_str(), message.c_str());
        problems += static_cast<int>(messages.size());
    };
    for (const Plugin &plugin : loading.plugins) {
        tell(plugin.name, plugin.messages);
        if (plugin.loaded || !plugin.messages.empty()) continue;
        tell(plugin.name, {"not loaded"});
    }
    tell("classes", loading.class_messages);
    tell("providers", loading.provider_messages);
    return problems;
}

int report(const CheckedFile &file)
{
    std::printf("\n%s: %s\n", file.role.c_str(), file.path.c_str());
    for (const std::string &note : file.notes)
        std::printf("  %s\n", note.c_str());
    for (const Finding &finding : file.findings) {
        if (finding.line > 0) {
            std::printf("  line %ld: %s\n", finding.line, finding.text.c_str());
        } else {
            std::printf("  %s\n", finding.text.c_str());
        }
    }
    if (file.state == CheckedFile::State::usable) std::printf("  %d instance(s)\n", file.instances);
    return static_cast<int>(file.findings.size());
}

void report(const Boot &boot)
{
    if (boot.source) {
        std::printf("\nThis device would boot from the %s file %s, with %d instance(s); "
                    "%zu thing(s) in it would be skipped.\n",
                    boot.source->role.c_str(), boot.source->path.c_str(), boot.source->instances,
                    boot.source->findings.size());
    } else {
        std::printf("\nThis device would boot with an empty configuration.\n");
    }
}

} // namespace vorn::check
