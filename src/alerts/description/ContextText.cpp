#include "alerts/description/ContextText.h"

#include "alerts/description/AlertContext.h"
#include "json/JSONTextWriter.h"
#include "json/JSONView.h"

namespace Vok {

ContextText::ContextText(const Tavix::JSONView& object, size_t expectedLength) {
    Tavix::JSONTextSink sink(expectedLength);
    Tavix::JSONTextWriter writer(sink);
    object.value()->Accept(writer);
    isStable_ = !writer.hasDoubles();
    text_ = sink.take();
    text_.shrink_to_fit();  // kept for as long as the alert waits
    AlertContext context;
    context.read(object);
    key_ = duplicateKeyOf(context);
}

ContextText& ContextText::operator=(ContextText&& other) noexcept {
    if (this != &other) {
        // A plain move may leave the source's text as it was.
        text_ = std::exchange(other.text_, {});
        key_ = std::exchange(other.key_, std::nullopt);
        isStable_ = std::exchange(other.isStable_, false);
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
