#include "bench/Floors.h"

#include <benchmark/benchmark.h>
#include <rapidjson/document.h>
#include <rapidjson/writer.h>

#include "bench/HandOver.h"

namespace Bench {
namespace {

using Encoding = rapidjson::UTF16<char16_t>;
using Document = rapidjson::GenericDocument<Encoding>;

}  // namespace

void registerHandOver() {
    benchmark::RegisterBenchmark("hand-over", [](benchmark::State& state) {
        HandOver other;
        for ([[maybe_unused]] auto each : state)
            other.thereAndBack();
    })->UseRealTime();
}

void registerRapidJson(const std::u16string& text) {
    benchmark::RegisterBenchmark("parse", [text](benchmark::State& state) {
        for ([[maybe_unused]] auto each : state) {
            Document document;
            document.Parse(text.c_str());
            benchmark::DoNotOptimize(document.IsObject());
        }
    });
    benchmark::RegisterBenchmark("write", [text](benchmark::State& state) {
        Document document;
        document.Parse(text.c_str());
        for ([[maybe_unused]] auto each : state) {
            rapidjson::GenericStringBuffer<Encoding> buffer;
            rapidjson::Writer<rapidjson::GenericStringBuffer<Encoding>, Encoding, Encoding> writer(buffer);
            document.Accept(writer);
            benchmark::DoNotOptimize(buffer.GetString());
        }
    });
}

}  // namespace Bench
