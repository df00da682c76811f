/* SPDX-License-Identifier: MIT */
/* The hash table and the standard library's, with the same names. */
#include "vorn/hash_table.h"

#include <string>
#include <unordered_map>
#include <vector>

#include <benchmark/benchmark.h>

#include "process/numbered.h"

namespace vorn::bench {

namespace {

std::vector<std::string> names(const benchmark::State &state)
{
    std::vector<std::string> made;
    for (int i = 0; i < state.range(0); i++)
        made.push_back(vorn::bench::numbered("interface", i * 7919 % 1000003));
    return made;
}

unsigned int length(const std::string &name)
{
    return static_cast<unsigned int>(name.size() + 1);
}

class Table {
public:
    Table() : table_(ght_create(8)) { ght_set_rehash(table_, 1); }
    ~Table() { ght_finalize(table_); }
    void insert(const std::string &name, void *data)
    {
        ght_insert(table_, data, length(name), name.c_str());
    }
    void *get(const std::string &name) { return ght_get(table_, length(name), name.c_str()); }
    void remove(const std::string &name) { ght_remove(table_, length(name), name.c_str()); }
    std::size_t walk()
    {
        std::size_t sum = 0;
        ght_iterator iterator;
        const void *key;
        for (void *data = ght_first(table_, &iterator, &key); key;
             data = ght_next(table_, &iterator, &key))
            sum += reinterpret_cast<std::size_t>(data);
        return sum;
    }

private:
    ght_table *table_;
};

class Map {
public:
    void insert(const std::string &name, void *data) { map_.emplace(name, data); }
    void *get(const std::string &name)
    {
        const auto found = map_.find(name);
        return found == map_.end() ? nullptr : found->second;
    }
    void remove(const std::string &name) { map_.erase(name); }
    std::size_t walk()
    {
        std::size_t sum = 0;
        for (const auto &[name, data] : map_)
            sum += reinterpret_cast<std::size_t>(data);
        return sum;
    }

private:
    std::unordered_map<std::string, void *> map_;
};

template <typename T>
void fill(T &table, const std::vector<std::string> &all)
{
    std::size_t number = 1;
    for (const std::string &name : all)
        table.insert(name, reinterpret_cast<void *>(number++));
}

template <typename T>
void Get(benchmark::State &state)
{
    const auto all = names(state);
    T table;
    fill(table, all);
    std::size_t i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(table.get(all[i]));
        if (++i == all.size()) i = 0;
    }
}

template <typename T>
void InsertAndRemove(benchmark::State &state)
{
    const auto all = names(state);
    for (auto _ : state) {
        T table;
        fill(table, all);
        for (const std::string &name : all)
            table.remove(name);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

template <typename T>
void Iterate(benchmark::State &state)
{
    const auto all = names(state);
    T table;
    fill(table, all);
    for (auto _ : state)
        benchmark::DoNotOptimize(table.walk());
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void sizes(benchmark::internal::Benchmark *bench)
{
    bench->RangeMultiplier(10)->Range(10, 100000);
}

BENCHMARK(Get<Table>)->Apply(sizes);
BENCHMARK(Get<Map>)->Apply(sizes);
BENCHMARK(InsertAndRemove<Table>)->Apply(sizes);
BENCHMARK(InsertAndRemove<Map>)->Apply(sizes);
BENCHMARK(Iterate<Table>)->Apply(sizes);
BENCHMARK(Iterate<Map>)->Apply(sizes);

} // namespace

} // namespace vorn::bench
