#include "json/JSONFormatter.h"

#include <utility>

#include "json/JSONParse.h"

namespace Tavix {

namespace {

using Document = rapidjson::GenericDocument<JSONEncoding, JSONPool, JSONHeap>;

// Small chunks: with large ones the heap gives memory back to the system after every message and takes it
// again.
constexpr size_t chunkSize = 4096;
constexpr size_t firstChunkSize = 1024;
constexpr size_t documentStackSize = 1024;

// Recursion no deeper than the limit.
unsigned depthOf(const JSONValue& value, unsigned limit) {
    if (!value.IsObject() && !value.IsArray())
        return 0;
    if (limit == 0)
        return 1;
    unsigned deepest = 0;
    if (value.IsObject()) {
        for (const auto& member : value.GetObject())
            deepest = std::max(deepest, depthOf(member.value, limit - 1));
    } else {
        for (const JSONValue& element : value.GetArray())
            deepest = std::max(deepest, depthOf(element, limit - 1));
    }
    return deepest + 1;
}

}  // namespace

// The pool and its first memory in one block of the heap.
struct JSONFormatter::Storage {
    JSONHeap heap;
    alignas(16) char first[firstChunkSize];
    JSONPool pool;

    Storage() : pool(first, sizeof first, chunkSize, &heap) {}
};

JSONFormatter::JSONFormatter() noexcept : root_(rapidjson::kObjectType) {}

JSONFormatter::JSONFormatter(const JSONFormatter& other) : JSONFormatter() {
    copyRoot(other.root_, other.depth_);
}

JSONFormatter::JSONFormatter(JSONFormatter&& other) noexcept : JSONFormatter() {
    *this = std::move(other);
}

JSONFormatter& JSONFormatter::operator=(const JSONFormatter& other) {
    if (this != &other)
        *this = JSONFormatter(other);
    return *this;
}

JSONFormatter& JSONFormatter::operator=(JSONFormatter&& other) noexcept {
    if (this == &other)
        return *this;
    root_ = std::move(other.root_);
    other.root_.SetObject();
    storage_ = std::move(other.storage_);
    depth_ = std::exchange(other.depth_, 1);
    return *this;
}

JSONFormatter::~JSONFormatter() = default;

JSONPool& JSONFormatter::pool() {
    if (!storage_)
        storage_.reset(new Storage);
    return storage_->pool;
}

JSONFormatter::Value JSONFormatter::copied(const std::u16string& text) {
    return Value(text.data(), static_cast<rapidjson::SizeType>(text.size()), pool());
}

void JSONFormatter::copyRoot(const Value& source, unsigned depth) {
    // The source may lie below this very root.
    Value copy(source, pool());
    root_ = std::move(copy);
    depth_ = depth;
}

bool JSONFormatter::parse(const std::u16string& text) {
    root_.SetNull();
    depth_ = 0;
    Document document(&pool(), documentStackSize);
    auto generator = [&](Document& handler) { return parseJson(text, handler, depth_); };
    document.Populate(generator);
    root_ = std::move(static_cast<Value&>(document));
    return root_.IsObject();
}

std::u16string JSONFormatter::toString() const {
    return view().toString();
}

bool JSONFormatter::getString(const std::u16string& name, std::u16string& value) const {
    return view().getString(name, value);
}

bool JSONFormatter::getBool(const std::u16string& name, bool& value) const {
    return view().getBool(name, value);
}

bool JSONFormatter::getInt32(const std::u16string& name, int32_t& value) const {
    return view().getInt32(name, value);
}

bool JSONFormatter::getUInt32(const std::u16string& name, uint32_t& value) const {
    return view().getUInt32(name, value);
}

bool JSONFormatter::getInt64(const std::u16string& name, int64_t& value) const {
    return view().getInt64(name, value);
}

bool JSONFormatter::getUInt64(const std::u16string& name, uint64_t& value) const {
    return view().getUInt64(name, value);
}

bool JSONFormatter::getDouble(const std::u16string& name, double& value) const {
    return view().getDouble(name, value);
}

bool JSONFormatter::getStringArray(const std::u16string& name, std::vector<std::u16string>& values) const {
    return view().getStringArray(name, values);
}

bool JSONFormatter::getObject(const std::u16string& name, JSONFormatter& value) const {
    JSONView found;
    if (!view().getObject(name, found))
        return false;
    value.copyRoot(*found.value(), depth_ - 1);
    return true;
}

bool JSONFormatter::getObjectArray(const std::u16string& name, std::vector<JSONFormatter>& values) const {
    std::vector<JSONView> found;
    const bool complete = view().getObjectArray(name, found);
    const unsigned depth = depth_;
    for (const JSONView& object : found) {
        JSONFormatter copy;
        copy.copyRoot(*object.value(), depth - 2);
        values.push_back(std::move(copy));
    }
    return complete;
}

void JSONFormatter::put(const std::u16string& name, Value&& value) {
    Value key = copied(name);
    root_.RemoveMember(key);  // compat
    root_.AddMember(key, value, pool());
}

void JSONFormatter::setString(const std::u16string& name, const std::u16string& value) {
    if (root_.IsObject())
        put(name, copied(value));
}

void JSONFormatter::setBool(const std::u16string& name, bool value) {
    if (root_.IsObject())
        put(name, Value(value));
}

void JSONFormatter::setInt32(const std::u16string& name, int32_t value) {
    if (root_.IsObject())
        put(name, Value(value));
}

void JSONFormatter::setUInt32(const std::u16string& name, uint32_t value) {
    if (root_.IsObject())
        put(name, Value(value));
}

void JSONFormatter::setInt64(const std::u16string& name, int64_t value) {
    if (root_.IsObject())
        put(name, Value(value));
}

void JSONFormatter::setUInt64(const std::u16string& name, uint64_t value) {
    if (root_.IsObject())
        put(name, Value(value));
}

void JSONFormatter::setDouble(const std::u16string& name, double value) {
    if (root_.IsObject())
        put(name, Value(value));
}

void JSONFormatter::setStringArray(const std::u16string& name, const std::vector<std::u16string>& values) {
    if (!root_.IsObject())
        return;
    Value array(rapidjson::kArrayType);
    for (const std::u16string& value : values)
        array.PushBack(copied(value), pool());
    put(name, std::move(array));
    depth_ = std::max(depth_, 2u);
}

JSONFormatter::Value* JSONFormatter::arrayFor(const std::u16string& name) {
    Value key = copied(name);
    auto member = root_.FindMember(key);
    if (root_.MemberEnd() - member == 0) {
        root_.AddMember(key, Value(rapidjson::kArrayType), pool());
        member = root_.MemberEnd() - 1;
    }
    return member->value.IsArray() ? &member->value : nullptr;
}

void JSONFormatter::addStringToArray(const std::u16string& name, const std::u16string& value) {
    if (!root_.IsObject())
        return;
    Value* array = arrayFor(name);
    if (!array)
        return;
    array->PushBack(copied(value), pool());
    depth_ = std::max(depth_, 2u);
}

void JSONFormatter::setObject(const std::u16string& name, const JSONFormatter& value) {
    const unsigned depth = value.depth_ + 1;
    if (!root_.IsObject() || depth > maximumJsonDepth)
        return;
    put(name, Value(value.root_, pool()));
    depth_ = std::max(depth_, depth);
}

void JSONFormatter::setObjectArray(const std::u16string& name, const std::vector<JSONFormatter>& values) {
    unsigned depth = 2;
    for (const JSONFormatter& value : values)
        depth = std::max(depth, value.depth_ + 2);
    if (!root_.IsObject() || depth > maximumJsonDepth)
        return;
    Value array(rapidjson::kArrayType);
    for (const JSONFormatter& value : values)
        array.PushBack(Value(value.root_, pool()), pool());
    put(name, std::move(array));
    depth_ = std::max(depth_, depth);
}

void JSONFormatter::addObjectToArray(const std::u16string& name, const JSONFormatter& value) {
    const unsigned depth = value.depth_ + 2;
    if (!root_.IsObject() || depth > maximumJsonDepth)
        return;
    // Copied first: it may be this very formatter.
    Value copy(value.root_, pool());
    Value* array = arrayFor(name);
    if (!array)
        return;
    array->PushBack(copy, pool());
    depth_ = std::max(depth_, depth);
}

void JSONFormatter::setValue(Value& name, Value& value) {
    const unsigned depth = 1 + depthOf(value, maximumJsonDepth);
    if (!root_.IsObject() || !name.IsString() || depth > maximumJsonDepth)
        return;
    root_.RemoveMember(name);
    root_.AddMember(name, value, pool());
    depth_ = std::max(depth_, depth);
}

}  // namespace Tavix
