// An alert description that a user wrote into a file.
#pragma once

#include <chrono>
#include <string>
#include <string_view>

#include "json/JSONFormatter.h"

namespace Host {

constexpr size_t maximumAlertFile = size_t{4} << 20;  // bytes
// The broker builds a pattern of the id and escapes no more than braces: an alert with one of these in its id
// would be shown, and its outcome never recognised.
constexpr std::u16string_view patternUnits = u"^$\\*+?()[]|";

class AlertFile {
public:
    // Reads the file, given by its path in Windows form, or "-" for standard input, and checks what the
    // broker requires. False, with what is wrong in error, when it cannot be shown. "instanceId" is replaced
    // by what the broker hands out.
    bool read(const std::u16string& path, std::u16string& error);
    // The same for a text in UTF-8; name stands for the file in error.
    bool parse(std::string_view bytes, const std::u16string& name, std::u16string& error);

    const std::u16string& id() const noexcept { return id_; }
    const std::u16string& product() const noexcept { return product_; }
    uint32_t sessionId() const noexcept { return sessionId_; }  // 0: whichever is active
    std::chrono::seconds timeout() const noexcept { return timeout_; }
    // As the user wrote it.
    Tavix::JSONView view() const noexcept { return document_.view(); }
    // The description under that instance id.
    std::u16string description(const std::u16string& instance) const;

private:
    Tavix::JSONFormatter document_;
    std::u16string id_;
    std::u16string product_;
    uint32_t sessionId_ = 0;
    std::chrono::seconds timeout_{30};
};

}  // namespace Host
