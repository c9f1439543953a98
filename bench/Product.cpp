#include "bench/Product.h"

#include <stdexcept>

#include "bench/BenchHost.h"
#include "support/BusPeer.h"
#include "text/Utf.h"

namespace Bench {

Product::Product() : bus_(*Support::embeddedBus()) {
    if (bus_.acquireHandle(&handle_) != MODULE_STATUS_SUCCESS)
        throw std::runtime_error("no bus handle");
}

Product::~Product() {
    bus_.releaseHandle(handle_);
}

void Product::prepare(uint64_t first, uint32_t count, uint32_t session) {
    for (uint64_t number = first; number < first + count; ++number) {
        const std::u16string word = Ferrow::decimal(number);
        const std::u16string answer = u"Brevant.Alert." + word + u".Queued." + word;
        requests_.push_back({u"Brevant.Alert.Show." + word, description(number, session),
                             bus_.subscribe(handle_, this, &onAnswer, answer.c_str())});
    }
}

void Product::accept(uint32_t count) {
    const MessageHeader header = Support::plainHeader();
    for (const size_t end = next_ + count; next_ < end; ++next_) {
        const Request& request = requests_.at(next_);
        bus_.publish(handle_, &header, request.name.c_str(), u"Product", request.payload.c_str());
        answered_.wait();
    }
}

void Product::forget() {
    for (const Request& request : requests_)
        bus_.unsubscribe(handle_, request.answer);
    requests_.clear();
    next_ = 0;
}

uint32_t Product::onAnswer(void* self, const MessageHeader*, const char16_t*, const char16_t*,
                           const char16_t*) {
    auto& product = *static_cast<Product*>(self);
    product.answeredAt_ = Clock::now();
    product.answered_.announce();
    return MODULE_STATUS_SUCCESS;
}

}  // namespace Bench
