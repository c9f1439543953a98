// One JSON document whose root is an object, with typed access to its members.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "json/JSONView.h"

namespace Tavix {

// Belongs to one thread. Copies share nothing. Names are matched exactly, the first of equal names counts.
// Getters return false and leave the output alone when the member is missing or of another kind. Setters do
// nothing when there is no root object or the result would nest deeper than maximumJsonDepth. Memory of
// replaced members is given back only with the formatter. std::bad_alloc when memory is short.
class JSONFormatter {
public:
    using Value = JSONValue;

    JSONFormatter() noexcept;  // an empty object
    JSONFormatter(const JSONFormatter& other);
    JSONFormatter(JSONFormatter&& other) noexcept;  // leaves an empty object
    JSONFormatter& operator=(const JSONFormatter& other);
    JSONFormatter& operator=(JSONFormatter&& other) noexcept;
    virtual ~JSONFormatter();

    // Discards what was there. False unless the whole text is one well-formed object; there is no root then,
    // or one of another kind.
    virtual bool parse(const std::u16string& text);
    // Compact text, members in their order.
    virtual std::u16string toString() const;

    virtual bool getString(const std::u16string& name, std::u16string& value) const;
    virtual bool getBool(const std::u16string& name, bool& value) const;
    virtual bool getInt32(const std::u16string& name, int32_t& value) const;
    virtual bool getUInt32(const std::u16string& name, uint32_t& value) const;
    virtual bool getInt64(const std::u16string& name, int64_t& value) const;
    virtual bool getUInt64(const std::u16string& name, uint64_t& value) const;
    // Accepts no integer: 5.0 but not 5.
    virtual bool getDouble(const std::u16string& name, double& value) const;
    // Appends to the vector, each string up to its first NUL. A missing member is an empty list: true. False
    // at the first element of another kind; those before it stay appended.
    virtual bool getStringArray(const std::u16string& name, std::vector<std::u16string>& values) const;
    // Replaces the other formatter's root by a copy.
    virtual bool getObject(const std::u16string& name, JSONFormatter& value) const;
    // Appends copies, by the rules of getStringArray.
    virtual bool getObjectArray(const std::u16string& name, std::vector<JSONFormatter>& values) const;

    // A replaced member moves to the end; the former last one takes its place.
    virtual void setString(const std::u16string& name, const std::u16string& value);
    virtual void setBool(const std::u16string& name, bool value);
    virtual void setInt32(const std::u16string& name, int32_t value);
    virtual void setUInt32(const std::u16string& name, uint32_t value);
    virtual void setInt64(const std::u16string& name, int64_t value);
    virtual void setUInt64(const std::u16string& name, uint64_t value);
    virtual void setDouble(const std::u16string& name, double value);
    virtual void setStringArray(const std::u16string& name, const std::vector<std::u16string>& values);
    // Appending makes the array when the member is missing and does nothing when it is no array.
    virtual void addStringToArray(const std::u16string& name, const std::u16string& value);
    virtual void setObject(const std::u16string& name, const JSONFormatter& value);
    virtual void setObjectArray(const std::u16string& name, const std::vector<JSONFormatter>& values);
    virtual void addObjectToArray(const std::u16string& name, const JSONFormatter& value);
    // Both values belong to this document and are moved in.
    virtual void setValue(Value& name, Value& value);

    // The root as it stands, for reading nested objects without copies.
    JSONView view() const noexcept { return JSONView(root_); }

private:
    struct Storage;

    JSONPool& pool();
    Value copied(const std::u16string& text);
    void copyRoot(const Value& source, unsigned depth);
    void put(const std::u16string& name, Value&& value);
    // The array of that name, made when missing; null when there is none to append to.
    Value* arrayFor(const std::u16string& name);

    // Made when first needed: an empty formatter costs no memory.
    std::unique_ptr<Storage> storage_;
    Value root_;
    // At least the depth of the root. It does not shrink when a deep member is replaced.
    unsigned depth_ = 1;
};

}  // namespace Tavix
