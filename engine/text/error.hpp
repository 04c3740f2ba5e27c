#pragma once

#include <stdexcept>

namespace engine {

/// Wrong input: what() is one line for people that names what was wrong and what would be right.
class [[nodiscard]] InputError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace engine
