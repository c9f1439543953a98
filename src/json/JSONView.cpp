#include "json/JSONView.h"

#include "json/JSONTextWriter.h"

namespace Tavix {

const JSONValue* JSONView::find(std::u16string_view name) const {
    if (!value_ || !value_->IsObject())
        return nullptr;
    const JSONValue key(rapidjson::StringRef(name.empty() ? u"" : name.data(),
                                             static_cast<rapidjson::SizeType>(name.size())));
    const auto member = value_->FindMember(key);
    return member == value_->MemberEnd() ? nullptr : &member->value;
}

bool JSONView::getString(std::u16string_view name, std::u16string& value) const {
    const JSONValue* member = find(name);
    if (!member || !member->IsString())
        return false;
    value.assign(member->GetString(), member->GetStringLength());
    return true;
}

bool JSONView::getBool(std::u16string_view name, bool& value) const {
    const JSONValue* member = find(name);
    if (!member || !member->IsBool())
        return false;
    value = member->GetBool();
    return true;
}

bool JSONView::getInt32(std::u16string_view name, int32_t& value) const {
    const JSONValue* member = find(name);
    if (!member || !member->IsInt())
        return false;
    value = member->GetInt();
    return true;
}

bool JSONView::getUInt32(std::u16string_view name, uint32_t& value) const {
    const JSONValue* member = find(name);
    if (!member || !member->IsUint())
        return false;
    value = member->GetUint();
    return true;
}

bool JSONView::getInt64(std::u16string_view name, int64_t& value) const {
    const JSONValue* member = find(name);
    if (!member || !member->IsInt64())
        return false;
    value = member->GetInt64();
    return true;
}

bool JSONView::getUInt64(std::u16string_view name, uint64_t& value) const {
    const JSONValue* member = find(name);
    if (!member || !member->IsUint64())
        return false;
    value = member->GetUint64();
    return true;
}

bool JSONView::getDouble(std::u16string_view name, double& value) const {
    const JSONValue* member = find(name);
    if (!member || !member->IsDouble())  // compat
        return false;
    value = member->GetDouble();
    return true;
}

template <class Test, class Append>
bool JSONView::walkArray(std::u16string_view name, Test test, Append append) const {
    // Without a root there are no members; a root of another kind has nothing that could be asked for.
    if (value_ && !value_->IsObject() && !value_->IsNull())
        return false;
    const JSONValue* member = find(name);
    if (!member)
        return true;  // compat
    if (!member->IsArray())
        return false;
    for (const JSONValue& element : member->GetArray()) {
        if (!test(element))
            return false;
        append(element);
    }
    return true;
}

bool JSONView::getStringArray(std::u16string_view name, std::vector<std::u16string>& values) const {
    // Up to the first NUL: lists hold identifiers, which are NUL-terminated elsewhere.
    return walkArray(
        name, [](const JSONValue& element) { return element.IsString(); },
        [&](const JSONValue& element) { values.emplace_back(element.GetString()); });  // compat
}

bool JSONView::getObject(std::u16string_view name, JSONView& value) const {
    const JSONValue* member = find(name);
    if (!member || !member->IsObject())
        return false;
    value = JSONView(*member);
    return true;
}

bool JSONView::getObjectArray(std::u16string_view name, std::vector<JSONView>& values) const {
    return walkArray(
        name, [](const JSONValue& element) { return element.IsObject(); },
        [&](const JSONValue& element) { values.emplace_back(element); });
}

std::u16string JSONView::toString() const {
    JSONTextSink sink;
    JSONTextWriter writer(sink);
    if (value_)
        value_->Accept(writer);
    else
        writer.Null();
    return sink.take();
}

}  // namespace Tavix
