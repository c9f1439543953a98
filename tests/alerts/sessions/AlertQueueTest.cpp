#include <algorithm>
#include <limits>
#include <random>

#include "alerts/sessions/AlertQueue.h"
#include "alerts/sessions/SessionFixture.h"

namespace Support {
namespace {

// The queue as its operations are described: a plain list that is walked.
class WalkedList {
public:
    bool insert(const std::shared_ptr<Vok::Alert>& alert) {
        for (const auto& queued : list_) {
            if (queued->isDuplicateOf(*alert))
                return false;
        }
        list_.insert(std::ranges::find_if(list_, [&](auto& queued) { return alert->precedes(*queued); }),
                     alert);
        return true;
    }
    std::shared_ptr<Vok::Alert> takeById(const std::u16string& id) {
        return take(std::ranges::find_if(list_, [&](auto& queued) { return queued->getInfo().id == id; }));
    }
    std::shared_ptr<Vok::Alert> pop() { return take(list_.begin()); }
    std::shared_ptr<Vok::Alert> front() const { return list_.empty() ? nullptr : list_.front(); }
    size_t size() const { return list_.size(); }

private:
    std::shared_ptr<Vok::Alert> take(std::list<std::shared_ptr<Vok::Alert>>::iterator place) {
        if (place == list_.end())
            return nullptr;
        std::shared_ptr<Vok::Alert> alert = *place;
        list_.erase(place);
        return alert;
    }

    std::list<std::shared_ptr<Vok::Alert>> list_;
};

using AlertQueueTest = SessionFixture;

TEST_F(AlertQueueTest, BehavesLikeAListThatIsWalked) {
    using Limits = std::numeric_limits<int32_t>;
    const std::vector<int32_t> priorities = {Limits::min(), -1, 0, 1, 2, 3, Limits::max()};
    for (unsigned seed = 1; seed <= 30; ++seed) {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        std::mt19937 random(seed);
        const auto upTo = [&](size_t limit) { return random() % limit; };
        Vok::AlertQueue queue;
        WalkedList list;
        for (int step = 0; step < 400; ++step) {
            const std::u16string id(1, static_cast<char16_t>(u'a' + upTo(4)));
            switch (upTo(8)) {
                case 0:
                    ASSERT_EQ(queue.pop(), list.pop());
                    break;
                case 1:
                    ASSERT_EQ(queue.takeById(id), list.takeById(id));
                    break;
                case 2:
                    ASSERT_EQ(queue.removeById(id), list.takeById(id) != nullptr);
                    break;
                default:
                    auto added = alertWith({.id = id,
                                            .priority = priorities[upTo(priorities.size())],
                                            .title = std::u16string(1, static_cast<char16_t>(u'a' + upTo(8))),
                                            .actions = upTo(7)});
                    const bool expected = list.insert(added);
                    ASSERT_EQ(queue.insert(std::shared_ptr(added)), expected);
            }
            ASSERT_EQ(queue.size(), list.size());
            ASSERT_EQ(queue.front(), list.front());
        }
        while (list.front())
            ASSERT_EQ(queue.pop(), list.pop());
        EXPECT_EQ(queue.front(), nullptr);
    }
}

std::atomic<size_t> comparisons;

class CountingAlert : public Vok::Alert {
public:
    using Alert::Alert;
    bool precedes(const Alert& other) const override {
        ++comparisons;
        return Alert::precedes(other);
    }
    bool isDuplicateOf(const Alert& other) const override {
        ++comparisons;
        return Alert::isDuplicateOf(other);
    }
};

TEST_F(AlertQueueTest, ComparesAnAlertWithNoneOfThousandsThatAreUnlikeIt) {
    constexpr size_t many = 5000;
    Vok::AlertQueue queue;
    comparisons = 0;
    for (size_t i = 0; i < many; ++i) {
        const std::u16string number(1, static_cast<char16_t>(i + 0x1000));
        // The odd ones share their texts, but offer too many choices to be duplicates.
        auto info = alertInfo({.id = number,
                               .priority = static_cast<int32_t>(i % 3),
                               .title = i % 2 ? u"same" : number,
                               .actions = i % 2 ? 5u : 0u});
        ASSERT_TRUE(queue.insert(std::make_shared<CountingAlert>(std::move(info), client)));
    }
    for (size_t i = 0; i < many; i += 2)
        ASSERT_TRUE(queue.removeById(std::u16string(1, static_cast<char16_t>(i + 0x1000))));
    while (queue.pop()) {
    }
    EXPECT_LT(comparisons, many);  // a walk would make millions
}

}  // namespace
}  // namespace Support
