// One JSON document whose root is an object, with typed access to its members.
#pragma once

#include <rapidjson/document.h>

#include <cstdint>
#include <string>
#include <vector>

namespace Tavix {

// Texts nested deeper than this are refused by parse, whatever the thread's stack: what is parsed can then be
// copied and written by recursion.
constexpr unsigned maximumJsonDepth = 512;

// Belongs to one thread. Copies share nothing. Names are matched exactly, the first of equal names counts.
// Getters return false and leave the output alone when the member is missing or of another kind. Memory of
// replaced members is given back only with the formatter.
class JSONFormatter {
public:
    using Encoding = rapidjson::UTF16<char16_t>;
    using Document = rapidjson::GenericDocument<Encoding>;
    using Value = rapidjson::GenericValue<Encoding>;

    JSONFormatter();  // an empty object
    JSONFormatter(const JSONFormatter& other);
    JSONFormatter& operator=(const JSONFormatter& other);
    virtual ~JSONFormatter();

    // Discards what was there. False, and no root, unless the whole text is one well-formed object.
    virtual bool parse(const std::u16string& text);
    virtual std::u16string toString() const;

    virtual bool getString(const std::u16string& name, std::u16string& value) const;
    virtual bool getBool(const std::u16string& name, bool& value) const;
    virtual bool getInt32(const std::u16string& name, int32_t& value) const;
    virtual bool getUInt32(const std::u16string& name, uint32_t& value) const;
    virtual bool getInt64(const std::u16string& name, int64_t& value) const;
    virtual bool getUInt64(const std::u16string& name, uint64_t& value) const;
    // Accepts no integer: 5.0 but not 5.
    virtual bool getDouble(const std::u16string& name, double& value) const;
    // Appends to the vector. A missing member is an empty list: true. False at the first element of another
    // kind; those before it stay appended.
    virtual bool getStringArray(const std::u16string& name, std::vector<std::u16string>& values) const;
    virtual bool getObject(const std::u16string& name, JSONFormatter& value) const;
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
    virtual void addStringToArray(const std::u16string& name, const std::u16string& value);
    virtual void setObject(const std::u16string& name, const JSONFormatter& value);
    virtual void setObjectArray(const std::u16string& name, const std::vector<JSONFormatter>& values);
    virtual void addObjectToArray(const std::u16string& name, const JSONFormatter& value);
    // Both values belong to this document and are moved in.
    virtual void setValue(Value& name, Value& value);

private:
    const Value* find(const std::u16string& name) const;

    Document document_;
};

}  // namespace Tavix
