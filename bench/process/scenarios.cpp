/* SPDX-License-Identifier: MIT */
/*
 * scenarios NAME: does one thing twice on a board of a thousand instances. Under callgrind only
 * the second time is counted, in instructions, which do not depend on the machine's mood.
 */
#include "config/config_state.h"
#include "config/config_write.h"
#include "vorn/query.h"
#include "vorn/schema.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <valgrind/callgrind.h>

#include "process/board.h"
#include "process/older_file.h"

using namespace vorn::bench;

namespace {

constexpr int instances = 1000;

void ask(const char *request)
{
    std::free(vorn_query_eval(request));
}

void select_one()
{
    ask("<lsql><select><Item name=\"item500\"><p3/></Item></select></lsql>");
}

void select_everything()
{
    ask("<lsql><select><Item properties=\"all\"/></select></lsql>");
}

void scan_everything()
{
    ask("<lsql><select><Item><p3/></Item></select>"
        "<where><eq><property>p3</property><value>value 500.3</value></eq></where></lsql>");
}

void update_one()
{
    ask("<lsql><update><Item name=\"item500\"><p3>new</p3></Item></update></lsql>");
}

void transaction_in_few()
{
    ask("<lsql><write-transaction><update><Few name=\"item5\"><p3>new</p3></Few></update>"
        "</write-transaction></lsql>");
}

void transaction_in_many()
{
    ask("<lsql><write-transaction><update><Item name=\"item500\"><p3>new</p3></Item></update>"
        "</write-transaction></lsql>");
}

void boot()
{
    static const ConfigFile file(instances);
    vorn_instances_delete_all(boot_load(file.path));
}

void boot_migrated()
{
    static const OlderFile file(instances);
    if (!vorn_schema_get_name(0)) declare_migrations();
    vorn_instances_delete_all(boot_load(file.path()));
}

void save()
{
    vorn::config_document(vorn::running_config);
}

struct Scenario {
    const char *name;
    void (*run)();
};

constexpr Scenario scenarios[] = {
    {"select_one", select_one},
    {"select_everything", select_everything},
    {"scan_everything", scan_everything},
    {"update_one", update_one},
    {"transaction_in_few", transaction_in_few},
    {"transaction_in_many", transaction_in_many},
    {"boot", boot},
    {"boot_migrated", boot_migrated},
    {"save", save},
};

} // namespace

int main(int argc, char **argv)
{
    for (const Scenario &each : scenarios) {
        if (argc < 2) {
            std::puts(each.name);
        } else if (std::strcmp(argv[1], each.name) == 0) {
            set_up_board(instances, instances);
            each.run();
            CALLGRIND_TOGGLE_COLLECT;
            each.run();
            CALLGRIND_TOGGLE_COLLECT;
        }
    }
}
