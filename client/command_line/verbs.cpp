/* SPDX-License-Identifier: MIT */
/* The table of verbs: a new one is two lines here and a file of its name. */
#include <algorithm>

#include "verb.h"

namespace vorn::client {

/* Each is in the file of its name. */
int add(const Invocation &invocation);
int batch(const Invocation &invocation);
int commits(const Invocation &invocation);
int plugin(const Invocation &invocation);
int status(const Invocation &invocation);
int complete(const Invocation &invocation);
int confirm(const Invocation &invocation);
int delete_(const Invocation &invocation);
int diff(const Invocation &invocation);
int explain_downgrade(const Invocation &invocation);
int export_(const Invocation &invocation);
int factory_reset(const Invocation &invocation);
int forget(const Invocation &invocation);
int forget_broken(const Invocation &invocation);
int help(const Invocation &invocation);
int history(const Invocation &invocation);
int import(const Invocation &invocation);
int inform(const Invocation &invocation);
int kick(const Invocation &invocation);
int repair(const Invocation &invocation);
int list(const Invocation &invocation);
int log(const Invocation &invocation);
int ping(const Invocation &invocation);
int query(const Invocation &invocation);
int reboot(const Invocation &invocation);
int rename(const Invocation &invocation);
int revert(const Invocation &invocation);
int rollback(const Invocation &invocation);
int set(const Invocation &invocation);
int show(const Invocation &invocation);
int startup(const Invocation &invocation);
int unset(const Invocation &invocation);
int watch(const Invocation &invocation);

namespace {

constexpr OptionWord where = {"--where", "CONDITION", "only those that fulfil it"};

constexpr Argument a_class[] = {{"CLASS", "whose properties to list", false}};
constexpr Argument helped[] = {{"COMMAND", "or CLASS; all commands if it isn't given", false},
                               {"PROPERTY", "of the class", false}};
constexpr Argument selection[] = {
    {"CLASS", "what to show"},
    {"NAME PROPERTY", "the instance's name (- for any), then properties (default: all)", false,
     true}};
constexpr Argument assignments[] = {
    {"CLASS", "what to change"},
    {"NAME PROPERTY=VALUE", "the instance's name (- for any), then new values", false, true}};
constexpr Argument new_instance[] = {
    {"CLASS", "what to make"},
    {"NAME PROPERTY=VALUE", "the new name, where there can be one, then values", false, true}};
constexpr Argument instance[] = {{"CLASS", "what to remove"},
                                 {"NAME", "the instance's name", false, true}};
constexpr Argument changes[] = {
    {"FILE", "one set, unset, add, delete or rename a line; - for standard input"}};
constexpr Argument other[] = {
    {"FILE", "compare with this file, or this generation, instead of the saved one", false},
    {"GENERATION", "compare the two generations", false}};
constexpr Argument a_generation[] = {{"GENERATION", "what it changed", false}};
constexpr Argument back[] = {{"GENERATION", "its number; vornctl history lists them"}};
constexpr Argument target[] = {{"FILE", "standard output if there is none", false}};
constexpr Argument source[] = {{"FILE", "as export writes it; - for standard input"}};
constexpr Argument count[] = {{"COUNT", "how many; without it for ever", false}};
constexpr Argument request[] = {{"FILE", "the request; - for standard input"}};
constexpr Argument event[] = {{"OBJECT", "what the event is about"},
                              {"NAME=VALUE", "what the plugin is told", false, true}};
constexpr Argument line[] = {{"LINE", "up to the cursor"}};

constexpr Argument losing[] = {
    {"CLASS", "what to change"},
    {"NAME PROPERTY", "the instance's name (- for any), then what loses its value", false, true}};
constexpr Argument naming[] = {
    {"CLASS", "what to rename"}, {"NAME", "as it is called now"}, {"NEW-NAME", "as it will be"}};
constexpr Argument explained[] = {
    {"COMMAND", "a command that changes something, such as set or import, as it would be given",
     false, true}};
constexpr OptionWord downgrading[] = {
    {"--downgrade", nullptr, "what earlier versions would lose, such as \"radio=1\""}};
constexpr Argument lines[] = {{"LINES", "how many; 20 if it isn't given", false}};
constexpr Argument commit_count[] = {{"COUNT", "how many; 20 if it isn't given", false}};
constexpr Argument trial_id[] = {
    {"ID", "of the trial; the one that is pending if not given", false}};
constexpr Argument chance[] = {{"ACTION", "retry"}, {"NAME", "the plugin's file"}};
constexpr Argument repaired[] = {{"CLASS", "all of it if not given", false},
                                 {"NAME", "of the one that is meant", false}};
constexpr Argument piece[] = {{"CLASS", "as \"status -v\" lists it; all of it if not given", false},
                              {"NAME", "of the one that is meant", false}};
constexpr Argument station[] = {{"STATION", "its MAC address"}};

constexpr OptionWord explaining = {"--explain", nullptr, "only say what it would do"};
constexpr OptionWord commenting = {"--comment", "TEXT", "what the history says of it"};
constexpr OptionWord trying = {"--trial", "SECONDS", "take it back then unless it is confirmed"};
constexpr OptionWord joining = {"--join", "ID", "make it part of the trial that is pending"};
constexpr OptionWord asking = {"--ask", nullptr, "wait on the terminal for whether to keep it"};
constexpr OptionWord changing[] = {explaining, commenting, trying, joining, asking};
constexpr OptionWord ending[] = {explaining};
constexpr OptionWord picking[] = {where, explaining, commenting, trying, joining, asking};
constexpr OptionWord exporting[] = {{"--generation", "NUMBER", "one that was saved before"}};
constexpr OptionWord showing[] = {where, {"-q", nullptr, "the bare value of one property"}};
constexpr OptionWord adding[] = {{"--or-set", nullptr, "change the instance if it exists"},
                                 explaining,
                                 commenting,
                                 trying,
                                 joining,
                                 asking};
constexpr OptionWord detailing[] = {{"-v", nullptr, "every provider, the slowest first"},
                                    {"--refused", nullptr, "what was refused instead"}};
constexpr OptionWord telling_all[] = {
    {"-v", nullptr, "with every plugin, and what is kept of the configuration unread"}};
constexpr OptionWord confirming[] = {
    {"--upgrade", nullptr, "keep the firmware, and no longer what others wrote"}, explaining};
constexpr OptionWord resetting[] = {{"--yes", nullptr, "don't ask"}};
constexpr OptionWord removing[] = {where,      {"--all", nullptr, "all instances of the class"},
                                   explaining, commenting,
                                   trying,     joining,
                                   asking};
constexpr OptionWord importing[] = {
    {"--merge", nullptr, "change nothing that the file lacks"},
    {"--force", nullptr, "even if the device has changed since the file was exported"},
    {"--dry-run", nullptr, "only show what would change"},
    explaining,
    commenting,
    trying,
    joining,
    asking,
};
constexpr OptionWord watching[] = {
    {"--once", nullptr, "end when the daemon ends, don't wait for the next"}};

constexpr Verb table[] = {
    {"list", a_class, {}, "the device's classes, or one class's properties", list, true},
    {"help", helped, {}, "what a class or a property is for, or a command", help, true},
    {"show", selection, showing, "instances and their values", show, true},
    {"set", assignments, picking, "give instances new values", set},
    {"add", new_instance, adding, "make a new instance", add},
    {"delete", instance, removing, "remove instances", delete_},
    {"unset", losing, picking, "take values away", unset},
    {"rename", naming, changing, "give an instance another name, also where others refer to it",
     rename},
    {"batch", changes, changing, "the changes in a file, all or none", batch},
    {"explain", explained, downgrading, "say what a change would do, and what it would interrupt",
     explain_downgrade, true, true, true, true},
    {"confirm", trial_id, confirming, "keep the change that is on trial, and save it", confirm},
    {"revert", trial_id, ending, "take the change back that is on trial", revert},
    {"diff", other, {}, "what the running configuration has that is not saved", diff, true},
    {"export", target, exporting, "write the running configuration", export_, true},
    {"import", source, importing, "make the running configuration what a file says", import},
    {"history", a_generation, {}, "what was saved before, or what one save changed", history, true},
    {"rollback", back, changing, "go back to what was saved before", rollback},
    {"watch", count, watching, "change notices as they come", watch},
    {"query", request, {}, "send one LSQL request as it is", query},
    {"startup", {}, {}, "the saved configuration", startup, true},
    {"inform", event, {}, "tell a plugin of an event", inform},
    {"log", lines, {}, "the last lines of the device's log", log, true},
    {"commits", commit_count, detailing, "what the last commits changed and took", commits, true},
    {"status", {}, telling_all, "how the device is doing; 5 when something is wrong", status},
    {"plugin", chance, {}, "let a plugin that was left out take part again", plugin},
    {"kick", station, {}, "send a wireless station away", kick},
    {"repair", repaired, ending, "put right what somebody has changed past the configuration",
     repair},
    {"ping", {}, {}, "ask whether the daemon answers", ping},
    {"reboot", {}, {}, "restart the device", reboot},
    {"factory-reset",
     {},
     resetting,
     "forget the configuration and restart; asks first",
     factory_reset},
    {"forget", piece, {}, "end keeping what no plugin could read", forget},
    {"forget-broken",
     {},
     {},
     "remove the kept copy of an unreadable configuration",
     forget_broken,
     false,
     true,
     false},
    {"complete", line, {}, "candidates for the end of a line", complete, false, false, false},
};

} // namespace

std::span<const Verb> verbs()
{
    return table;
}

const Verb *find_verb(const std::string &name)
{
    const auto found =
        std::ranges::find_if(table, [&](const Verb &each) { return name == each.name; });
    return found == std::end(table) ? nullptr : found;
}

} // namespace vorn::client
