// The factories that the dependency container holds.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <typeinfo>
#include <utility>

namespace Ferrow {

inline constexpr char16_t unnamedRegistration[] = u"Unnamed registration";  // compat

class IOCFactoryInterface {
public:
    virtual ~IOCFactoryInterface() = default;
    // The run-time hash of the type that the factory makes.
    virtual size_t typeHash() const noexcept = 0;
    virtual const std::u16string& registrationName() const noexcept = 0;
    // Points to an object of exactly that type. Any thread.
    virtual std::shared_ptr<void> create() = 0;
};

template <class T>
class IOCBaseFactory : public IOCFactoryInterface {
public:
    explicit IOCBaseFactory(std::u16string registrationName)
        : registrationName_(std::move(registrationName)) {}
    size_t typeHash() const noexcept override { return typeid(T).hash_code(); }
    const std::u16string& registrationName() const noexcept override { return registrationName_; }

private:
    const std::u16string registrationName_;
};

// Always the same shared object.
template <class T>
class IOCInstanceReturningFactory : public IOCBaseFactory<T> {
public:
    explicit IOCInstanceReturningFactory(std::shared_ptr<T> instance,
                                         std::u16string registrationName = unnamedRegistration)
        : IOCBaseFactory<T>(std::move(registrationName)), instance_(std::move(instance)) {}
    std::shared_ptr<void> create() override { return instance_; }

private:
    const std::shared_ptr<T> instance_;
};

}  // namespace Ferrow
