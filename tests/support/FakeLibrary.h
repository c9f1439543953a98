// A library that is not there: every search for it succeeds, and so does its loading.
#pragma once

#include <functional>
#include <memory>

#include <brevant/library.h>

#include "library/SharedLibrary.h"

namespace Support {

class FakeLibrary : public Tavix::DllLoader {
public:
    // Each of its functions is that one. What befalls it is told: "load:<path>", "free".
    FakeLibrary(BrevantCreateObject createObject, std::function<void(const std::u16string&)> tell)
        : createObject_(createObject), tell_(std::move(tell)) {}

    // Found in the first folder of its definition, unless that is "none".
    static std::shared_ptr<Tavix::SharedLibrary> load(std::shared_ptr<FakeLibrary> library,
                                                      Tavix::LibraryDefinition definition) {
        return std::make_shared<Tavix::SharedLibrary>(std::move(definition), std::move(library), nullptr,
                                                      std::make_shared<Search>());
    }

    bool loadDLL(const std::u16string& path, Platform::LibraryHandle* handle) override {
        tell_(u"load:" + path);
        *handle = this;
        return true;
    }
    void* getProcAddress(Platform::LibraryHandle, const char*) override {
        return reinterpret_cast<void*>(createObject_);
    }
    bool freeDLL(Platform::LibraryHandle) override {
        tell_(u"free");
        return true;
    }

private:
    struct Search : Tavix::PathSearch {
        bool findFilePath(const std::u16string&, std::u16string& folder) override {
            folder = getSearchPaths().at(0);
            return folder != u"none";
        }
    };
    const BrevantCreateObject createObject_;
    const std::function<void(const std::u16string&)> tell_;
};

}  // namespace Support
