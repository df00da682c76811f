/* SPDX-License-Identifier: MIT */
#include <benchmark/benchmark.h>
#include <malloc.h>

/* Memory once used stays: giving it back and taking it again would drown what is measured. */
int main(int argc, char **argv)
{
    mallopt(M_TRIM_THRESHOLD, -1);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
