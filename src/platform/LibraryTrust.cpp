#include "platform/LibraryTrust.h"

#include "platform/Registry.h"

namespace Platform {

bool librariesAreVerified() {
    const auto key = Registry::system().openKey(u"SOFTWARE\\CORVANE\\OSTREL");
    return !key || key->readNumber(u"Verify Libraries") != 0u;
}

}  // namespace Platform
