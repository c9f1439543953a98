#include <gtest/gtest.h>
#include <thread>
#include <vector>

#include "host/event_sink/ComponentConventions.h"
#include "platform/Components.h"
#include "platform/Files.h"
#include "platform/Folders.h"
#include "support/Beside.h"
#include "support/PlatformFolder.h"
#include "text/Utf.h"

namespace {

using namespace EventSink;

using GetClassObject = BrevantResult (*)(const BrevantGuid*, const BrevantGuid*, void**);
using CanUnloadNow = BrevantResult (*)();

// The library, used as any component's user would.
class EventSinkLibrary : public testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(library_); }
    ClassFactory* factory() {
        void* object = nullptr;
        EXPECT_EQ(getClassObject_(&eventSinkClassId, &classFactoryInterfaceId, &object), ok);
        return static_cast<ClassFactory*>(object);
    }
    static ILegacyEventSink* createSink(ClassFactory* factory) {
        void* object = nullptr;
        EXPECT_EQ(factory->functions->CreateInstance(factory, nullptr, &eventSinkInterfaceId, &object), ok);
        return static_cast<ILegacyEventSink*>(object);
    }

    Support::PlatformFolder machine_;
    const Support::LoadedLibrary library_{beside(EVENT_SINK_FILE)};
    const GetClassObject getClassObject_ = library_.function<GetClassObject>("DllGetClassObject");
    const CanUnloadNow canUnloadNow_ = library_.function<CanUnloadNow>("DllCanUnloadNow");
};

TEST_F(EventSinkLibrary, MayBeUnloadedOnceEveryReferenceAndLockIsGone) {
    EXPECT_EQ(canUnloadNow_(), ok);
    ClassFactory* const made = factory();
    EXPECT_EQ(canUnloadNow_(), no);
    ILegacyEventSink* const sink = createSink(made);
    made->functions->LockServer(made, 1);
    made->functions->Release(made);
    EXPECT_EQ(sink->functions->Release(sink), 0u);
    EXPECT_EQ(canUnloadNow_(), no);
    made->functions->LockServer(made, 0);
    EXPECT_EQ(canUnloadNow_(), ok);
}

TEST_F(EventSinkLibrary, RefusesWhatItIsNot) {
    void* object = this;
    EXPECT_EQ(getClassObject_(&eventSinkInterfaceId, &classFactoryInterfaceId, &object), noSuchClass);
    EXPECT_EQ(object, nullptr);
    EXPECT_EQ(getClassObject_(&eventSinkClassId, &eventSinkInterfaceId, &object), noInterface);
    EXPECT_EQ(getClassObject_(&eventSinkClassId, &classFactoryInterfaceId, nullptr), nullPointer);
    ClassFactory* const made = factory();
    EXPECT_EQ(made->functions->CreateInstance(made, this, &eventSinkInterfaceId, &object), noAggregation);
    EXPECT_EQ(made->functions->CreateInstance(made, nullptr, &classFactoryInterfaceId, &object), noInterface);
    made->functions->Release(made);
    EXPECT_EQ(canUnloadNow_(), ok);
}

TEST_F(EventSinkLibrary, WritesWholeLinesFromManyThreads) {
    constexpr int threads = 4;
    constexpr int eventsEach = 50;
    const std::u16string file = Platform::commonDataFolder() + u"\\events.jsonl";
    const size_t before = Platform::readFile(file).value_or("").size();
    ClassFactory* const made = factory();
    char16_t* const json =
        Platform::allocateComponentText(u"{\"a\":\r\n\"" + std::u16string(3000, u'\u00E4') + u"\"}");
    std::vector<std::thread> senders;
    for (int i = 0; i < threads; ++i)
        senders.emplace_back([&] {
            for (int event = 0; event < eventsEach; ++event) {
                ILegacyEventSink* const sink = createSink(made);
                EXPECT_EQ(sink->functions->SubmitEvent(sink, nullptr, json, nullptr), ok);
                sink->functions->Release(sink);
            }
        });
    for (auto& sender : senders)
        sender.join();
    Platform::freeComponentText(json);
    made->functions->Release(made);

    std::string expected;
    for (int i = 0; i < threads * eventsEach; ++i)
        expected += Ferrow::toUtf8(u"{\"a\":  \"" + std::u16string(3000, u'\u00E4') + u"\"}\n");
    EXPECT_TRUE(Platform::readFile(file).value_or("").substr(before) == expected);
}

}  // namespace
