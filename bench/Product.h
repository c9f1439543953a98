// A product on a connection of its own that waits for the broker's answer to each alert.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <brevant/bus.h>

#include "bench/HandOver.h"
#include "bench/Run.h"

namespace Bench {

class Product {
public:
    Product();
    ~Product();
    Product(const Product&) = delete;
    Product& operator=(const Product&) = delete;

    // The texts of so many alerts from that number on, and a subscription to the answer to each: accepting
    // them then costs no more than it must.
    void prepare(uint64_t first, uint32_t count, uint32_t session);
    // Publishes the next ones, each when the one before has been answered.
    void accept(uint32_t count);
    // Ends the subscriptions.
    void forget();

    // When the last answer came, on the bus's thread.
    Clock::time_point answeredAt() const { return answeredAt_; }

private:
    struct Request {
        std::u16string name, payload;
        uint32_t answer;
    };
    static uint32_t onAnswer(void* self, const MessageHeader*, const char16_t*, const char16_t*,
                             const char16_t*);

    const BrevantBusFunctions& bus_;
    BrevantBusHandle handle_ = nullptr;
    std::vector<Request> requests_;
    size_t next_ = 0;
    Signal answered_;
    Clock::time_point answeredAt_;
};

}  // namespace Bench
