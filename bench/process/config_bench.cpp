/* SPDX-License-Identifier: MIT */
/* Boot load, save and memory, beside what libxml2 alone takes for the same document. */
#include "config/config_state.h"
#include "config/config_write.h"
#include "services/xml/xml.h"

#include <libxml/parser.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <string>

#include <benchmark/benchmark.h>
#include <malloc.h>
#include <sys/wait.h>
#include <unistd.h>

#include "process/board.h"
#include "process/older_file.h"

namespace vorn::bench {

namespace {

/* What libxml2 makes of a file, unwatched. */
XmlDocument parsed_tree(const ConfigFile &file)
{
    return XmlDocument(xmlReadFile(file.path, nullptr, XML_PARSE_NONET | XML_PARSE_HUGE));
}

void BootLoad(benchmark::State &state)
{
    set_up_board(0, 0);
    const ConfigFile file(static_cast<int>(state.range(0)));
    vorn_instances_delete_all(boot_load(file.path)); /* the first one pays for the memory */
    for (auto _ : state) {
        vorn_instances *store = boot_load(file.path);
        state.PauseTiming();
        vorn_instances_delete_all(store);
        state.ResumeTiming();
    }
}

double now_ns()
{
    struct timespec now;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return 1e9 * static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec);
}

/* How long it takes, when that is shorter than before. */
void time_boot(const char *path, double &shortest)
{
    const double before = now_ns();
    vorn_instances *store = boot_load(path);
    shortest = std::min(shortest, now_ns() - before);
    vorn_instances_delete_all(store);
}

/*
 * The quickest of a few boots in a process of their own: no migration stays declared for those who
 * come later, and nobody boots in the heap that others have left.
 */
void time_boots_elsewhere(const char *path, bool migrates, double &shortest)
{
    constexpr int boots = 4;
    int ends[2];
    if (pipe(ends) != 0) std::abort();
    const pid_t child = fork();
    if (child < 0) std::abort();
    if (child == 0) {
        if (migrates) declare_migrations();
        double found = shortest;
        for (int i = 0; i < boots; i++)
            time_boot(path, found);
        _exit(write(ends[1], &found, sizeof found) == sizeof found ? 0 : 1);
    }
    close(ends[1]);
    if (read(ends[0], &shortest, sizeof shortest) != sizeof shortest) std::abort();
    close(ends[0]);
    int status = 0;
    if (waitpid(child, &status, 0) != child || status != 0) std::abort();
}

/*
 * A file that migrations change, beside one that says all of it where none are declared; the
 * quickest of each, since what is looked for is less than what another program on the machine
 * costs.
 */
void BootMigrated(benchmark::State &state)
{
    constexpr int turns = 25;
    set_up_board(0, 0);
    const int items = static_cast<int>(state.range(0));
    const ConfigFile file(items);
    const OlderFile older(items);
    double plain = 1e12;
    double migrated = 1e12;
    for (auto _ : state) {
        for (int i = 0; i < turns; i++) {
            time_boots_elsewhere(file.path, false, plain);
            time_boots_elsewhere(older.path(), true, migrated);
        }
    }
    state.counters["plain_ns"] = plain;
    state.counters["migrated_ns"] = migrated;
}

void Parse(benchmark::State &state)
{
    const ConfigFile file(static_cast<int>(state.range(0)));
    parsed_tree(file);
    for (auto _ : state) {
        XmlDocument document = parsed_tree(file);
        state.PauseTiming();
        document.reset();
        state.ResumeTiming();
    }
}

void Save(benchmark::State &state)
{
    set_up_board(static_cast<int>(state.range(0)), 0);
    std::FILE *nowhere = std::fopen("/dev/null", "w");
    for (auto _ : state)
        std::fputs(config_document(running_config).get(), nowhere);
    std::fclose(nowhere);
}

void XmlSave(benchmark::State &state)
{
    const ConfigFile file(static_cast<int>(state.range(0)));
    xmlKeepBlanksDefault(0);
    const XmlDocument document = parsed_tree(file);
    std::FILE *nowhere = std::fopen("/dev/null", "w");
    for (auto _ : state)
        xmlDocFormatDump(nowhere, document.get(), 1);
    std::fclose(nowhere);
}

std::size_t in_use()
{
    return mallinfo2().uordblks + mallinfo2().hblkhd;
}

/* In bytes, by its name in the kernel's account of this process. */
std::size_t resident(const std::string &field)
{
    std::ifstream status("/proc/self/status");
    std::string name;
    std::size_t kilobytes = 0;
    while (status >> name && name != field) {
    }
    status >> kilobytes;
    return 1024 * kilobytes;
}

/* The most that was resident during a boot load, beside what is when it is done. */
void BootMemory(benchmark::State &state)
{
    set_up_board(0, 0);
    const ConfigFile file(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        malloc_trim(0);
        std::ofstream("/proc/self/clear_refs") << "5"; /* the peak is what is resident now */
        const std::size_t before = resident("VmRSS:");
        vorn_instances *store = boot_load(file.path);
        const std::size_t peak = resident("VmHWM:");
        malloc_trim(0);
        state.counters["store_bytes"] = static_cast<double>(resident("VmRSS:") - before);
        state.counters["peak_bytes"] = static_cast<double>(peak - before);
        vorn_instances_delete_all(store);
    }
}

void Memory(benchmark::State &state)
{
    set_up_board(0, 0);
    const ConfigFile file(static_cast<int>(state.range(0)));
    vorn_instances_delete_all(
        boot_load(file.path)); /* the first one pays for libxml2's own tables */
    for (auto _ : state) {
        std::size_t before = in_use();
        vorn_instances *store = boot_load(file.path);
        const std::size_t ours = in_use() - before;
        before = in_use();
        const XmlDocument document = parsed_tree(file);
        const std::size_t tree = in_use() - before;
        state.counters["store_bytes"] = static_cast<double>(ours);
        state.counters["tree_bytes"] = static_cast<double>(tree);
        vorn_instances_delete_all(store);
    }
}

void sizes(benchmark::internal::Benchmark *bench)
{
    bench->RangeMultiplier(10)->Range(10, 100000);
}

BENCHMARK(BootLoad)->Apply(sizes);
BENCHMARK(BootMigrated)->Arg(10000)->Iterations(1)->Repetitions(1);
BENCHMARK(Parse)->Apply(sizes);
BENCHMARK(Save)->Apply(sizes);
BENCHMARK(XmlSave)->Apply(sizes);
BENCHMARK(Memory)->Apply(sizes)->Iterations(1);
BENCHMARK(BootMemory)->Arg(10000)->Arg(100000)->Iterations(1);

} // namespace

} // namespace vorn::bench
