#include "alerts/description/ContextText.h"

#include "alerts/description/AlertContext.h"
#include "json/JSONView.h"

namespace Vok {

ContextText::ContextText(const Tavix::JSONView& object) : text_(object.toString()) {
    AlertContext context;
    context.read(object);
    key_ = duplicateKeyOf(context);
}

ContextText& ContextText::operator=(ContextText&& other) noexcept {
    if (this != &other) {
        // A plain move may leave the source's text as it was.
        text_ = std::exchange(other.text_, {});
        key_ = std::exchange(other.key_, std::nullopt);
    }
    return *this;
}

DuplicateKey ContextText::duplicateKey() const {
    if (key_)
        return *key_;
    AlertContext context;
    context.fromJson(text_);
    return duplicateKeyOf(context);
}

}  // namespace Vok
