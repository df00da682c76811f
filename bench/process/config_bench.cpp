/* SPDX-License-Identifier: MIT */
/* Boot load, save and memory, beside what libxml2 alone takes for the same document. */
#include "config/config_state.h"
#include "config/config_write.h"
#include "services/xml/xml.h"

#include <cstdio>

#include <benchmark/benchmark.h>
#include <malloc.h>

#include "process/board.h"

namespace vorn::bench {

namespace {

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

void Parse(benchmark::State &state)
{
    const ConfigFile file(static_cast<int>(state.range(0)));
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
    const ConfigFile file(static_cast<int>(state.range(0)));
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
    const ConfigFile file(static_cast<int>(state.range(0)));
    vorn_instances_delete_all(
        boot_load(file.path)); /* the first one pays for libxml2's own tables */
    for (auto _ : state) {
        std::size_t before = in_use();
        vorn_instances *store = boot_load(file.path);
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
