#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

#include "libscfjtag.h"

namespace engine {

/// What a macro may do with an area.
enum class AreaUse : std::uint8_t { read, read_and_write };

/// An area handed to macros, alone between inaccessible pages.
///
/// Its last word lies against the guard after it, so the first access past the end faults.  The few words between the
/// guard before it and its first word hold a pattern, which shows writes before the beginning afterwards.  Where a
/// macro may only read it, the program writes to the same memory at another address.
class GuardedArea {
 public:
  /// @param name   what reports call the area; must outlive it.
  /// @param words  size, at least 1; all words are 0 at first.
  /// @throw std::bad_alloc
  GuardedArea(std::string_view name, std::size_t words, AreaUse use = AreaUse::read_and_write);
  ~GuardedArea();
  GuardedArea(const GuardedArea &) = delete;
  GuardedArea &operator=(const GuardedArea &) = delete;

  [[nodiscard]] std::string_view name() const { return name_; }
  /// The words, for the program to read and write.
  [[nodiscard]] std::span<macro_word> words() { return words_; }
  [[nodiscard]] std::span<const macro_word> words() const { return words_; }
  /// To be called before the program writes to an area that macros may only read, and after it.  Mostly nothing needs
  /// to be done; where the system has no second address for the memory, it is opened and closed.
  /// @throw std::bad_alloc
  void open();
  void seal();
  /// The address that the macro gets.
  [[nodiscard]] macro_word *address() const;

  /// The pages that so many words take, in bytes.
  [[nodiscard]] static std::size_t bytes_for(std::size_t words);
  [[nodiscard]] std::size_t bytes() const { return usable_; }
  /// Makes it an area of another size, which takes the same pages; the words are as they happen to be.
  void resize(std::size_t words);

  /// The word that an address lies in, counted from the first of the area: negative before it, words().size() and more
  /// past it; nullopt where the address is neither in the area nor in its guards.
  [[nodiscard]] std::optional<std::ptrdiff_t> index_of(std::uintptr_t address) const;

  /// The word before the area that was written farthest from it, as a negative index; nullopt when none was.  The
  /// pattern is whole again afterwards.
  [[nodiscard]] std::optional<std::ptrdiff_t> take_underrun();

 private:
  void place(std::size_t words);

  std::string_view name_;
  std::size_t usable_;
  std::byte *mapping_ = nullptr;  ///< guard, pages, guard
  std::byte *own_ = nullptr;      ///< the pages as the program writes to them
  bool sealed_ = false;           ///< whether macros may only read them, and there is one address for both
  std::span<macro_word> slack_;
  std::span<macro_word> words_;
};

}  // namespace engine
