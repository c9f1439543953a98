#include "bench/BrokerProcess.h"

#include <latch>
#include <list>
#include <stdexcept>
#include <thread>
#include <vector>

#include "bench/BenchHost.h"
#include "bench/Product.h"

namespace Bench {
namespace {

struct Order {
    uint32_t products;  // 0: end
    uint32_t alertsEach;
};

// The first alert of each product wakes threads that have slept while the last ones were removed: it is not
// counted.
double acceptOnce(Module& module, const Order& order) {
    const uint32_t each = order.alertsEach + 1, count = order.products * each;
    const uint64_t first = module.takeNumbers(count);
    std::list<Product> products;
    for (uint32_t i = 0; i < order.products; ++i) {
        products.emplace_back().prepare(first + i * each, each, waitingSession);
        products.back().accept(1);
    }

    std::latch start(order.products);
    std::vector<std::thread> threads;
    for (auto product = std::next(products.begin()); product != products.end(); ++product)
        threads.emplace_back([&start, &order, &product = *product] {
            start.arrive_and_wait();
            product.accept(order.alertsEach);
        });
    start.arrive_and_wait();
    const auto began = Clock::now();
    products.front().accept(order.alertsEach);
    for (std::thread& thread : threads)
        thread.join();
    const double took = secondsSince(began);

    for (Product& product : products)
        product.forget();
    module.remove(first, count);
    return took;
}

void serve(int connection, uint32_t waiting) {
    const Surroundings surroundings;
    Module module;
    module.fill(waiting);
    for (Order order;;) {
        receiveRecord(connection, &order, sizeof order);
        if (order.products == 0)
            return;
        const double seconds = acceptOnce(module, order);
        sendRecord(connection, &seconds, sizeof seconds);
    }
}

}  // namespace

BrokerProcess::BrokerProcess(uint32_t waiting)
    : process_([waiting](int connection) { serve(connection, waiting); }) {}

BrokerProcess::~BrokerProcess() {
    constexpr Order end{};
    try {
        sendRecord(process_.connection(), &end, sizeof end);
        process_.wait();
    } catch (const std::exception&) {
        // It has ended by itself, and said why.
    }
}

double BrokerProcess::accept(uint32_t products, uint32_t alertsEach) {
    const Order order{products, alertsEach};
    double seconds = 0;
    sendRecord(process_.connection(), &order, sizeof order);
    receiveRecord(process_.connection(), &seconds, sizeof seconds);
    return seconds;
}

}  // namespace Bench
