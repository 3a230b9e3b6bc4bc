// Costs of the frame's hot paths beside their baselines in the same run: firing an event to 1 and
// 10 subscribers against a plain loop of the same virtual calls.
#include "frame/event.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <vector>

namespace {

class IBenchEvents {
public:
    virtual void OnEvent(const wchar_t* name, const int& data) = 0;

protected:
    ~IBenchEvents() = default;
};

class Counter final : public IBenchEvents {
public:
    void OnEvent(const wchar_t*, const int& data) override {
        m_sum += data;
        benchmark::DoNotOptimize(m_sum);
    }
    std::int64_t m_sum = 0;
};

using BenchEvent = Event<MemberFunction_2_args<IBenchEvents, void, const wchar_t*, const int&>,
                         &IBenchEvents::OnEvent>;

void BM_VirtualCallLoop(benchmark::State& state) {
    std::vector<Counter> counters(static_cast<std::size_t>(state.range(0)));
    std::vector<IBenchEvents*> subscribers;
    for (Counter& counter : counters) {
        subscribers.push_back(&counter);
    }
    benchmark::DoNotOptimize(subscribers.data());
    const int data = 1;
    for (auto _ : state) {
        for (IBenchEvents* subscriber : subscribers) {
            subscriber->OnEvent(L"bench", data);
        }
    }
}
BENCHMARK(BM_VirtualCallLoop)->Arg(1)->Arg(10);

void BM_Fire(benchmark::State& state) {
    std::vector<Counter> counters(static_cast<std::size_t>(state.range(0)));
    SynchronyzedObjectContainer<IBenchEvents*> subscribers;
    for (Counter& counter : counters) {
        subscribers.Add(&counter);
    }
    BenchEvent event(&subscribers);
    const int data = 1;
    for (auto _ : state) {
        event.Fire(L"bench", data);
    }
}
BENCHMARK(BM_Fire)->Arg(1)->Arg(10);

} // namespace
