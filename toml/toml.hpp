#pragma once
// As the headers that it includes: what they warn of is not ours to mend.
#pragma GCC system_header

// toml++ 3.3 takes for granted what a file decides, and what the compiler makes of that is anything:
// - a key's first character where a table header begins, as in "[=";
// - that no character outside of texts is one of those around blanks beyond ASCII, such as an e with an accent.
// Without that the parser says itself what is wrong, one step later.
#include <toml++/impl/forward_declarations.h>
#undef TOML_ASSERT_ASSUME
#define TOML_ASSERT_ASSUME(expression) static_assert(true)

#pragma push_macro("TOML_UNREACHABLE")
#undef TOML_UNREACHABLE
#define TOML_UNREACHABLE return false
#include <toml++/impl/unicode.h>
#pragma pop_macro("TOML_UNREACHABLE")

#include <toml++/toml.h>
