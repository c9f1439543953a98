// A set of dimensions on its way to a transport.
#pragma once

#include <memory>
#include <string>
#include <string_view>

namespace Tavix::Analytics::internal {

// Belongs to one thread.
class CTracker {
public:
    virtual ~CTracker();
    CTracker(const CTracker&) = delete;
    CTracker& operator=(const CTracker&) = delete;

    // Stamps the dimensions and hands them to the first transport that opens, on the calling thread. Nobody
    // learns whether they arrived. Throws only when memory is short (std::bad_alloc).
    virtual void Send();
    // Inserts or replaces a dimension, private ones too. An empty value removes it, an empty name does
    // nothing.
    virtual void Add(std::u16string_view name, std::u16string_view value);

protected:
    explicit CTracker(std::u16string type);

private:
    struct _Impl;  // NOLINT(bugprone-reserved-identifier)
    std::unique_ptr<_Impl> impl_;
};

}  // namespace Tavix::Analytics::internal
