// The hover step with fake screens, pointer and clock: what one of the sixty steps a second
// costs the main thread, collapsed (nearly always) and expanded over the shelf.

#include "shelf/shelf_controller.h"
#include "support/fake_platform.h"

#include <QCoreApplication>

#include <benchmark/benchmark.h>

namespace verrabel {
namespace {

void collapsedFarAway(benchmark::State& state) {
    testing::FakePlatform platform;
    const ShelfController shelf(platform.services);
    platform.pointer.point = {100, 100};
    for (auto _ : state) {
        platform.clock.advance(1.0 / 60);
        platform.tick();
    }
}
BENCHMARK(collapsedFarAway);

void expandedOverTheShelf(benchmark::State& state) {
    testing::FakePlatform platform;
    ShelfController shelf(platform.services);
    shelf.showShelf();
    platform.pointer.point = {800, 800};
    platform.clock.advance(3);
    platform.tick(); // the one rescan the throttle asks for; it stays in flight
    for (auto _ : state) {
        platform.clock.advance(1.0 / 60);
        platform.tick();
    }
}
BENCHMARK(expandedOverTheShelf);

} // namespace
} // namespace verrabel
