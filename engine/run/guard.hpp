#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

#include "libscfjtag.h"

namespace engine {

/// An area handed to a macro, alone between inaccessible pages.
///
/// Its last word lies against the guard after it, so the first access past the end faults.  The few words between the
/// guard before it and its first word hold a pattern, which shows writes before the beginning afterwards.
class GuardedArea {
 public:
  /// @param name   what reports call the area; must outlive it.
  /// @param words  size, at least 1; all words are 0 at first.
  /// @throw std::bad_alloc
  GuardedArea(std::string_view name, std::size_t words);
  ~GuardedArea();
  GuardedArea(const GuardedArea &) = delete;
  GuardedArea &operator=(const GuardedArea &) = delete;

  [[nodiscard]] std::string_view name() const { return name_; }
  [[nodiscard]] std::span<macro_word> words() { return words_; }
  [[nodiscard]] std::span<const macro_word> words() const { return words_; }

  /// From now on every write faults.
  void protect();
  [[nodiscard]] bool is_protected() const { return protected_; }

  /// The word that an address lies in, counted from the first of the area: negative before it, words().size() and more
  /// past it; nullopt where the address is neither in the area nor in its guards.
  [[nodiscard]] std::optional<std::ptrdiff_t> index_of(std::uintptr_t address) const;

  /// The word before the area that was written farthest from it, as a negative index; nullopt when none was.
  [[nodiscard]] std::optional<std::ptrdiff_t> underrun() const;

 private:
  std::string_view name_;
  std::byte *mapping_ = nullptr;
  std::size_t mapped_bytes_ = 0;
  std::span<macro_word> slack_;
  std::span<macro_word> words_;
  bool protected_ = false;
};

}  // namespace engine
