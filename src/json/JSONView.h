// Reads an object where it stands in a document, without copying what is nested in it.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "json/JSONValue.h"

namespace Tavix {

// Valid as long as the formatter it comes from lives and does not change. The getters are those of
// JSONFormatter and answer as they do. A default view has no members.
class JSONView {
public:
    JSONView() noexcept = default;
    explicit JSONView(const JSONValue& value) noexcept : value_(&value) {}

    bool getString(std::u16string_view name, std::u16string& value) const;
    bool getBool(std::u16string_view name, bool& value) const;
    bool getInt32(std::u16string_view name, int32_t& value) const;
    bool getUInt32(std::u16string_view name, uint32_t& value) const;
    bool getInt64(std::u16string_view name, int64_t& value) const;
    bool getUInt64(std::u16string_view name, uint64_t& value) const;
    bool getDouble(std::u16string_view name, double& value) const;
    bool getStringArray(std::u16string_view name, std::vector<std::u16string>& values) const;
    bool getObject(std::u16string_view name, JSONView& value) const;
    bool getObjectArray(std::u16string_view name, std::vector<JSONView>& values) const;

    // Compact text of the whole value.
    std::u16string toString() const;

    // The first member of that name; null without one.
    const JSONValue* find(std::u16string_view name) const;
    // Null for a default view.
    const JSONValue* value() const noexcept { return value_; }

private:
    // Calls append for each element, up to the first one that fails the test.
    template <class Test, class Append>
    bool walkArray(std::u16string_view name, Test test, Append append) const;

    const JSONValue* value_ = nullptr;
};

}  // namespace Tavix
