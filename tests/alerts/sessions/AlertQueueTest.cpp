#include <list>
#include <random>

#include "alerts/sessions/AlertQueue.h"
#include "alerts/sessions/SessionFixture.h"

namespace Support {
namespace {

std::atomic<size_t> comparisons;

class CountingAlert : public Vok::Alert {
public:
    using Alert::Alert;
    bool isDuplicateOf(const Alert& other) const override {
        ++comparisons;
        return Alert::isDuplicateOf(other);
    }
};

using AlertQueueTest = SessionFixture;

TEST_F(AlertQueueTest, BehavesLikeAListThatIsWalked) {
    for (unsigned seed = 1; seed <= 20; ++seed) {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        std::mt19937 random(seed);
        const auto upTo = [&](size_t limit) { return random() % limit; };
        const auto word = [&](size_t limit) { return Ferrow::decimal(upTo(limit)); };
        const size_t variety = seed % 2 ? 5 : 200;
        Vok::AlertQueue queue;
        std::list<std::shared_ptr<Vok::Alert>> list;
        const auto taken = [&](auto place) {
            std::shared_ptr<Vok::Alert> alert;
            if (place != list.end()) {
                alert = *place;
                list.erase(place);
            }
            return alert;
        };
        for (int step = 0; step < 600; ++step) {
            const std::u16string id = word(variety);
            const auto hasId = [&](const auto& queued) { return queued->getInfo().id == id; };
            switch (upTo(8)) {
                case 0:
                    ASSERT_EQ(queue.pop(), taken(list.begin()));
                    break;
                case 1:
                    ASSERT_EQ(queue.takeById(id), taken(std::ranges::find_if(list, hasId)));
                    break;
                default:
                    const auto added = alertWith({.id = id,
                                                  .priority = static_cast<int32_t>(upTo(5)) - 2,
                                                  .title = word(variety),
                                                  .actions = upTo(7)});
                    const bool expected = std::ranges::none_of(
                        list, [&](const auto& queued) { return queued->isDuplicateOf(*added); });
                    if (expected)
                        list.insert(std::ranges::find_if(
                                        list, [&](auto& queued) { return added->precedes(*queued); }),
                                    added);
                    ASSERT_EQ(queue.insert(std::shared_ptr(added)), expected);
            }
            ASSERT_EQ(queue.size(), list.size());
            ASSERT_EQ(queue.front(), list.empty() ? nullptr : list.front());
        }
        while (!list.empty())
            ASSERT_EQ(queue.pop(), taken(list.begin()));
        EXPECT_EQ(queue.pop(), nullptr);
    }
}

TEST_F(AlertQueueTest, ComparesAnAlertWithNoneOfThousandsThatAreUnlikeIt) {
    constexpr size_t many = 5000;
    Vok::AlertQueue queue;
    comparisons = 0;
    for (size_t i = 0; i < many; ++i) {
        // The odd ones share their texts, but offer too many choices to be duplicates.
        auto info = alertInfo({.title = i % 2 ? u"same" : Ferrow::decimal(i), .actions = i % 2 ? 5u : 0u});
        ASSERT_TRUE(queue.insert(std::make_shared<CountingAlert>(std::move(info), client)));
    }
    EXPECT_LT(comparisons, many / 10);  // a walk would make millions
}

}  // namespace
}  // namespace Support
