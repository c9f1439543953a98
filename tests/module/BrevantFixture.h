// The broker module on a fake bus of its own, its sessions over viewers that show on the test's screen.
// Alerts listen for their outcome on the bus library beside the program.
#pragma once

#include "alerts/sessions/SessionFixture.h"
#include "module/BrevantImpl.h"

namespace Support {

// Shows on the screen; a dismissal is announced as the viewer's process would.
class ScreenViewer : public Vok::AlertViewer {
public:
    ScreenViewer(std::shared_ptr<Tavix::MessageBusClient> client, std::shared_ptr<Screen> screen);
    bool show(const std::u16string& payload, const std::u16string& alertId,
              const std::u16string& instanceId) override;
    bool dismiss(const std::u16string& alertId, const std::u16string& instanceId) override;

private:
    const std::shared_ptr<Screen> screen_;
    Tavix::MessageBusClient embeddedBus_;
};

class BrevantFixture : public SessionFixture {
protected:
    BrevantFixture();
    ~BrevantFixture() override;

    // A show request as the bus delivers it; the handler's status.
    uint32_t showWith(const AlertWords& words, uint32_t session = 1);
    uint32_t show(const std::u16string& instance, uint32_t session = 1);
    uint32_t logoff(uint32_t session);
    void takeIds(size_t count);
    // The viewer's process reports that the alert of that instance has been dismissed.
    void dismissedByUser(const std::u16string& instance);
    bool published(const std::u16string& name);
    size_t publishedCount();
    std::set<uint32_t> createdSessions();

    LogCapture log;
    std::unique_ptr<Vok::BrevantImpl> module;

private:
    class Factory;
    std::shared_ptr<Factory> factory_;
};

}  // namespace Support
