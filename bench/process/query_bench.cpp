/* SPDX-License-Identifier: MIT */
/* Whole requests inside one process, beside what libxml2 alone takes for the same texts. */
#include "config/config_state.h"
#include "model/instance_record.h"
#include "model/instances_walk.h"
#include "model/lazy/left_behind.h"
#include "services/xml/xml.h"
#include "vorn/query.h"

#include <cstdlib>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "process/board.h"

namespace vorn::bench {

namespace {

std::string middle_item(const benchmark::State &state)
{
    return item_name(static_cast<int>(state.range(0)) / 2);
}

std::string evaluated(const std::string &request)
{
    const Text answer(vorn_query_eval(request.c_str()));
    return answer.get();
}

void evaluate(benchmark::State &state, const std::string &request)
{
    if (evaluated(request).find("<rc>0</rc>") == std::string::npos) {
        state.SkipWithError("the request is refused");
        return;
    }
    for (auto _ : state)
        std::free(vorn_query_eval(request.c_str()));
}

/* What no server in this style can do without: the request parsed, an answer of that size dumped.
 */
void parse_and_dump(benchmark::State &state, const std::string &request)
{
    const std::string answer = evaluated(request);
    const XmlDocument document = parse_xml_text(answer.data(), answer.size());
    for (auto _ : state) {
        const XmlDocument parsed = parse_xml_text(request.data(), request.size());
        xmlChar *dumped = nullptr;
        int size = 0;
        xmlDocDumpMemory(document.get(), &dumped, &size);
        xmlFree(dumped);
    }
}

std::string select_one(const std::string &name)
{
    return "<lsql><select><Item name=\"" + name + "\"><p3/></Item></select></lsql>";
}

std::string update_one(const std::string &name)
{
    return "<lsql><update><Item name=\"" + name + "\"><p3>new</p3></Item></update></lsql>";
}

std::string in_transaction(const std::string &class_name, const std::string &name)
{
    return "<lsql><write-transaction><update><" + class_name + " name=\"" + name +
           "\"><p3>new</p3></" + class_name + "></update></write-transaction></lsql>";
}

const std::string select_everything = "<lsql><select><Item properties=\"all\"/></select></lsql>";
const std::string scan_everything =
    "<lsql><select><Item properties=\"all\"/></select>"
    "<where><not><eq><property>p3</property><value>none</value></eq></not></where></lsql>";

void SelectOne(benchmark::State &state)
{
    set_up_board(static_cast<int>(state.range(0)), 0);
    evaluate(state, select_one(middle_item(state)));
}

void SelectOneBound(benchmark::State &state)
{
    set_up_board(static_cast<int>(state.range(0)), 0);
    parse_and_dump(state, select_one(middle_item(state)));
}

void UpdateOne(benchmark::State &state)
{
    set_up_board(static_cast<int>(state.range(0)), 0);
    evaluate(state, update_one(middle_item(state)));
}

void UpdateOneBound(benchmark::State &state)
{
    set_up_board(static_cast<int>(state.range(0)), 0);
    parse_and_dump(state, update_one(middle_item(state)));
}

/* The instances that a transaction leaves behind on purpose would fill the machine's memory. */
void evaluate_and_forget(const std::string &request, const std::vector<vorn_instance *> &replaced)
{
    std::free(vorn_query_eval(request.c_str()));
    for (vorn_instance *each : replaced)
        vorn_instance_delete(each);
}

void transact(benchmark::State &state, const char *class_name, const std::string &name)
{
    const std::string request = in_transaction(class_name, name);
    for (auto _ : state) {
        evaluate_and_forget(request,
                            {vorn_instances_get(running_config, class_name, name.c_str())});
    }
}

void TransactionInFewBesideOthers(benchmark::State &state)
{
    set_up_board(0, static_cast<int>(state.range(0)));
    transact(state, "Few", "item5");
}

void TransactionInMany(benchmark::State &state)
{
    set_up_board(static_cast<int>(state.range(0)), 0);
    transact(state, "Item", middle_item(state));
}

/* One value in each of a hundred instances that lie far from each other. */
void TransactionOfAHundred(benchmark::State &state)
{
    constexpr int changed = 100;
    const int items = static_cast<int>(state.range(0));
    set_up_board(items, 0);
    std::string request = "<lsql><write-transaction>";
    for (int i = 0; i < changed; i++)
        request += "<update><Item name=\"" + item_name(i * (items / changed)) +
                   "\"><p3>new</p3></Item></update>";
    request += "</write-transaction></lsql>";
    for (auto _ : state) {
        state.PauseTiming();
        std::vector<vorn_instance *> replaced;
        for (int i = 0; i < changed; i++)
            replaced.push_back(vorn_instances_get(running_config, "Item",
                                                  item_name(i * (items / changed)).c_str()));
        state.ResumeTiming();
        evaluate_and_forget(request, replaced);
    }
}

void InsertOneAndDeleteOne(benchmark::State &state)
{
    set_up_board(static_cast<int>(state.range(0)), 0);
    const std::string insert =
        "<lsql><write-transaction><insert><Item name=\"one\"><p3>new</p3></Item></insert>"
        "</write-transaction></lsql>";
    const std::string erase =
        "<lsql><write-transaction><delete><Item name=\"one\"/></delete></write-transaction></lsql>";
    for (auto _ : state) {
        evaluate_and_forget(insert, {});
        evaluate_and_forget(erase, {vorn_instances_get(running_config, "Item", "one")});
    }
}

/* Every instance with a text of its own for each value, filed in a store. */
void DeepCopy(benchmark::State &state)
{
    set_up_board(static_cast<int>(state.range(0)), 0);
    for (auto _ : state) {
        vorn_instances *copy = vorn_instances_new();
        for (const vorn_instance *each : Walk(vorn_instances_new_iterator(running_config))) {
            vorn_instance *made = vorn_instance_new(each->klass, each->name.get());
            for (auto [property, text] : each->values)
                made->values.set(*each->klass->properties.get(property), text, each->values.size());
            vorn_instances_add(copy, made);
        }
        state.PauseTiming();
        vorn_instances_delete_all(copy);
        state.ResumeTiming();
    }
}

/* What a transaction leaves to whoever still holds one of the old instances. */
void KeptByTransaction(benchmark::State &state)
{
    set_up_board(static_cast<int>(state.range(0)), static_cast<int>(state.range(0)));
    const std::string request = in_transaction("Item", middle_item(state));
    for (auto _ : state) {
        vorn_instance *old = vorn_instances_get(running_config, "Item", middle_item(state).c_str());
        const std::size_t before = left_behind_bytes;
        std::free(vorn_query_eval(request.c_str()));
        state.counters["store_bytes"] = static_cast<double>(left_behind_bytes - before);
        vorn_instance_delete(old);
    }
}

void SelectEverything(benchmark::State &state)
{
    set_up_board(static_cast<int>(state.range(0)), 0);
    evaluate(state, select_everything);
}

void ScanEverything(benchmark::State &state)
{
    set_up_board(static_cast<int>(state.range(0)), 0);
    evaluate(state, scan_everything);
}

void DumpEverything(benchmark::State &state)
{
    set_up_board(static_cast<int>(state.range(0)), 0);
    parse_and_dump(state, select_everything);
}

void sizes(benchmark::internal::Benchmark *bench)
{
    bench->RangeMultiplier(10)->Range(10, 100000);
}

BENCHMARK(SelectOne)->Apply(sizes);
BENCHMARK(SelectOneBound)->Apply(sizes);
BENCHMARK(UpdateOne)->Apply(sizes);
BENCHMARK(UpdateOneBound)->Apply(sizes);
BENCHMARK(TransactionInFewBesideOthers)->Apply(sizes);
BENCHMARK(TransactionInMany)->Apply(sizes);
BENCHMARK(InsertOneAndDeleteOne)->Apply(sizes);
BENCHMARK(TransactionOfAHundred)->Arg(100000);
BENCHMARK(DeepCopy)->Apply(sizes);
BENCHMARK(KeptByTransaction)->Apply(sizes)->Iterations(1);
BENCHMARK(SelectEverything)->Apply(sizes);
BENCHMARK(ScanEverything)->Apply(sizes);
BENCHMARK(DumpEverything)->Apply(sizes);

} // namespace

} // namespace vorn::bench
