// Adding dimensions in a chain.
#pragma once

#include <string>
#include <string_view>

namespace Tavix::Analytics::internal {

// Names that begin with two underscores are reserved for the stamps; asking for one is logged at level 2 and
// refused.
bool acceptsDimension(const std::u16string& name, const std::u16string& value);
void reportNullDimensionName();

// Tracker is the class that is chained, Base the tracker it adds to.
template <class Tracker, class Base>
class CFluentTracker : public Base {
public:
    // A null name is logged at level 2 and adds nothing; a null value is an empty one.
    Tracker& Add(const char16_t* name, const char16_t* value) {
        if (!name) {
            reportNullDimensionName();
            return self();
        }
        return Add(std::u16string(name), value ? std::u16string(value) : std::u16string());
    }
    // An empty value removes the dimension; private names are refused.
    Tracker& Add(const std::u16string& name, const std::u16string& value) {
        if (acceptsDimension(name, value))
            addRaw(name, value);
        return self();
    }

protected:
    using Base::Base;

private:
    // The raw form tests nothing: it is not for users of the fluent ones.
    using Base::Add;

    void addRaw(std::u16string_view name, std::u16string_view value) {
        static_cast<Base&>(*this).Add(name, value);
    }
    Tracker& self() noexcept { return static_cast<Tracker&>(*this); }
};

}  // namespace Tavix::Analytics::internal
