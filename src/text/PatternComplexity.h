// What an expression will cost the standard library's regular-expression engine, found without compiling it.
#pragma once

#include <cstddef>
#include <string_view>

namespace Ferrow {

// The engine's compiler calls itself for every term, its executor for every state it can reach without
// reading a unit. The first two bounds keep both within a part of a 1 MiB stack, in unoptimised builds too.
constexpr size_t greatestPatternStates = 1000;
constexpr size_t greatestPatternNesting = 20;
// Every unit of a name costs some 50 ns for each state that may be active at the same time, which are those
// from the first open repetition on: with this bound a name of 1,000,000 units takes about five seconds at
// worst.
constexpr size_t greatestLoopingStates = 100;

// Throws std::regex_error(error_complexity) when the pattern exceeds a bound, or asks for lookahead anywhere
// but at its start, where alone it runs once per name. Malformed patterns pass: the engine reports them.
void checkPatternComplexity(std::u16string_view pattern);

}  // namespace Ferrow
