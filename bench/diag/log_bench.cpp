// The cost of a logging statement while nobody holds the logger, beside its baseline in the same
// run: a plain relaxed atomic load. The statement must stay a load and a branch, its arguments
// unevaluated, whether its log names no sink (the usual case) or takes one that an environment
// handed in at run time and that is null.
#include "diag/log.h"

#include <benchmark/benchmark.h>

#include <atomic>
#include <cstdint>

namespace {

std::atomic<std::int32_t> g_word{0};
// A sink the compiler cannot see to be null, as an environment's is.
logging::LogSink* volatile g_environmentSink = nullptr;

int Expensive(int value) {
    benchmark::DoNotOptimize(value);
    return value * 3;
}

void BM_AtomicLoad(benchmark::State& state) {
    for (auto _ : state) {
        benchmark::DoNotOptimize(g_word.load(std::memory_order_relaxed));
    }
}
BENCHMARK(BM_AtomicLoad);

void BM_StatementWithoutHolder(benchmark::State& state) {
    const logging::FunctionLog log(L"Bench::Loop");
    int i = 0;
    for (auto _ : state) {
        NX_LOG_INFO(log, L"iteration %d of %s", Expensive(++i), L"a loop");
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_StatementWithoutHolder);

void BM_StatementWithoutHolderAndANullSinkFromTheEnvironment(benchmark::State& state) {
    const logging::FunctionLog log(L"Bench::Loop", g_environmentSink);
    int i = 0;
    for (auto _ : state) {
        NX_LOG_INFO(log, L"iteration %d of %s", Expensive(++i), L"a loop");
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_StatementWithoutHolderAndANullSinkFromTheEnvironment);

} // namespace
