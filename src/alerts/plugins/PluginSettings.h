// Where the host's settings hold the products' plugin definitions.
#pragma once

namespace Vok {

// A product's definition is under "<key>/<product>".
constexpr const char16_t* productKey = u"Brevant/Product";

}  // namespace Vok
