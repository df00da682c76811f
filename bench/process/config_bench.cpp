/* SPDX-License-Identifier: MIT */
/* Boot load, save and memory, beside what libxml2 alone takes for the same document. */
#include "config/config_read.h"
#include "config/config_state.h"
#include "config/config_write.h"
#include "model/instances_walk.h"
#include "services/xml.h"
#include "vorn/provider.h"

#include <cstdio>
#include <fstream>
#include <string>

#include <benchmark/benchmark.h>
#include <malloc.h>
#include <unistd.h>

#include "process/board.h"

namespace vorn::bench {

namespace {

class ConfigFile {
public:
    explicit ConfigFile(const benchmark::State &state)
    {
        close(mkstemp(path));
        std::ofstream(path) << config_file(static_cast<int>(state.range(0)));
    }
    ~ConfigFile() { unlink(path); }

    char path[32] = "/tmp/vorn-bench-XXXXXX";
};

vorn_instances *load(const char *path)
{
    vorn_instances *store = vorn_instances_new();
    const XmlDocument document = parse_config(path);
    vorn_changes *changes = vorn_changes_new(store);
    read_instances(document.get(), store, changes);
    add_missing_singletons(store, changes);
    vorn_providers_commit(store, changes, nullptr);
    vorn_changes_delete(changes);
    return store;
}

void BootLoad(benchmark::State &state)
{
    set_up_board(0, 0);
    const ConfigFile file(state);
    vorn_instances_delete_all(load(file.path)); /* the first one pays for the memory */
    for (auto _ : state) {
        vorn_instances *store = load(file.path);
        state.PauseTiming();
        vorn_instances_delete_all(store);
        state.ResumeTiming();
    }
}

void Parse(benchmark::State &state)
{
    const ConfigFile file(state);
    parse_xml_file(file.path);
    for (auto _ : state) {
        XmlDocument document = parse_xml_file(file.path);
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
    const ConfigFile file(state);
    xmlKeepBlanksDefault(0);
    const XmlDocument document = parse_xml_file(file.path);
    std::FILE *nowhere = std::fopen("/dev/null", "w");
    for (auto _ : state)
        xmlDocFormatDump(nowhere, document.get(), 1);
    std::fclose(nowhere);
}

std::size_t in_use()
{
    return mallinfo2().uordblks + mallinfo2().hblkhd;
}

void Memory(benchmark::State &state)
{
    set_up_board(0, 0);
    const ConfigFile file(state);
    vorn_instances_delete_all(load(file.path)); /* the first one pays for libxml2's own tables */
    for (auto _ : state) {
        std::size_t before = in_use();
        vorn_instances *store = load(file.path);
        const std::size_t ours = in_use() - before;
        before = in_use();
        const XmlDocument document = parse_xml_file(file.path);
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
BENCHMARK(Parse)->Apply(sizes);
BENCHMARK(Save)->Apply(sizes);
BENCHMARK(XmlSave)->Apply(sizes);
BENCHMARK(Memory)->Apply(sizes)->Iterations(1);

} // namespace

} // namespace vorn::bench
