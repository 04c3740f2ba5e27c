#include <cstdio>
#include <exception>
#include <iostream>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "engine/catalogue/catalogue.hpp"
#include "engine/catalogue/fields.hpp"

/// Computes expressions of the catalogue for tests, as mcrhost does: each line of input is the name of a macro, _RW,
/// the number of parameter words and these, and an expression; the answer is a line with its value.
int main() {
  try {
    const engine::Catalogue catalogue{""};
    for (std::string line; std::getline(std::cin, line);) {
      std::istringstream words{line};
      std::string macro;
      macro_word rw = 0;
      std::size_t count = 0;
      words >> macro >> rw >> count;
      std::vector<macro_word> para(count);
      for (macro_word &word : para)
        words >> word;
      std::string expression;
      std::getline(words, expression);
      const std::shared_ptr<const engine::MacroEntry> entry = catalogue.find(macro);
      if (!entry)
        throw std::runtime_error("there is no entry for '" + macro + "'");
      const engine::Arguments arguments{*entry, rw, para};
      std::cout << arguments.value(engine::Expression::parse(expression)) << std::endl;
    }
    return 0;
  } catch (const std::exception &error) {
    static_cast<void>(std::fprintf(stderr, "%s\n", error.what()));
    return 1;
  }
}
