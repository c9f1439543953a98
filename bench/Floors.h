// What no way of handling an alert can do without, measured beside it.
#pragma once

#include <string>

namespace Bench {

// Registers "hand-over": to another thread and back.
void registerHandOver();
// Registers "parse" and "write": of that text, with RapidJSON alone.
void registerRapidJson(const std::u16string& text);

}  // namespace Bench
