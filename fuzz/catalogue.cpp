#include <string>

#include "engine/catalogue/catalogue.hpp"
#include "engine/text/error.hpp"
#include "engine/catalogue/fields.hpp"
#include "fuzz.hpp"
#include "engine/catalogue/named_values.hpp"

// Files of the catalogue.  What one that is taken says of its macros can be used.

namespace {

/// Words of _DATA up to which results are looked at.
constexpr std::size_t MOST_WORDS = 4096;

void use(const engine::MacroEntry &entry, macro_word rw, macro_word pattern) {
  const std::vector<macro_word> para(16, pattern);
  const engine::Arguments arguments{entry, rw, para};
  for (const engine::Parameter &parameter : entry.parameters) {
    static_cast<void>(arguments.uses(parameter));
    static_cast<void>(accepted_by(parameter, &arguments));
    static_cast<void>(value_text(parameter, pattern));
  }
  static_cast<void>(arguments.accesses());
  static_cast<void>(arguments.data_words(true));
  static_cast<void>(arguments.area_words());
  if (const std::size_t words = arguments.data_words(false); words <= MOST_WORDS) {
    const engine::DataWords data(words, pattern);
    const std::vector<engine::DecodedBlock> blocks = decode(arguments, data);
    for (const engine::ShownValue &value : shown_values(blocks))
      static_cast<void>(shown_text(value));
    static_cast<void>(findings_of(arguments, data, blocks));
  }
  static_cast<void>(with_fields(entry, rw, {para, std::vector<macro_word>(MOST_WORDS, pattern)}, {}));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *bytes, std::size_t size) {
  const std::string_view text{reinterpret_cast<const char *>(bytes), size};
  engine::Family family;
  try {
    family = engine::read_family(text, "fuzz.toml", "fuzz");
  } catch (const engine::InputError &) {
    return 0;
  }
  for (const engine::MacroEntry &entry : family.macros)
    for (const macro_word rw : {macro_word{1}, macro_word{2}, MACRO_ALL})
      for (const macro_word pattern : {macro_word{0}, macro_word{3}, MACRO_ALL}) {
        try {
          use(entry, rw, pattern);
        } catch (const engine::InputError &) {
          // Not what the macro takes.
        }
      }
  return 0;
}
