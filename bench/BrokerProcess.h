// A broker in a process of its own, beside a queue of a given length.
#pragma once

#include <cstddef>
#include <cstdint>

#include "bench/ChildProcess.h"

namespace Bench {

// Brokers of different lengths can be measured in turns; they would see each other in one process.
class BrokerProcess {
public:
    // To be made while the process has no other thread.
    explicit BrokerProcess(uint32_t waiting);
    ~BrokerProcess();

    // The seconds from the first request of so many products at once until the last answer. The alerts are
    // removed again.
    double accept(uint32_t products, uint32_t alertsEach);

private:
    ChildProcess process_;
};

}  // namespace Bench
