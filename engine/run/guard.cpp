#include "engine/run/guard.hpp"

#include <sys/mman.h>
#include <unistd.h>

#include <new>
#include <utility>

namespace engine {
namespace {

/// Wide enough that also long strides past an area, a whole ring or array, land in it.
constexpr std::size_t GUARD_BYTES = std::size_t{1} << 20;

/// What the words before an area hold.
constexpr macro_word CANARY = 0xC0DEB17E;

std::size_t round_up(std::size_t value, std::size_t unit) {
  return (value + unit - 1) / unit * unit;
}

}  // namespace

GuardedArea::GuardedArea(std::string_view name, std::size_t words) : name_{name} {
  const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  const std::size_t guard = round_up(GUARD_BYTES, page);
  const std::size_t usable = round_up(words * sizeof(macro_word), page);
  void *const mapping = mmap(nullptr, usable + 2 * guard, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (mapping == MAP_FAILED)
    throw std::bad_alloc();
  mapping_ = static_cast<std::byte *>(mapping);
  mapped_bytes_ = usable + 2 * guard;
  if (mprotect(mapping_ + guard, usable, PROT_READ | PROT_WRITE) != 0) {
    munmap(mapping_, mapped_bytes_);
    throw std::bad_alloc();
  }
  void *const first = mapping_ + guard;
  const std::span<macro_word> all{static_cast<macro_word *>(first), usable / sizeof(macro_word)};
  slack_ = all.first(all.size() - words);
  words_ = all.last(words);
  for (macro_word &word : slack_)
    word = CANARY;
}

GuardedArea::~GuardedArea() {
  munmap(mapping_, mapped_bytes_);
}

void GuardedArea::protect() {
  void *const first = slack_.data();
  protected_ = mprotect(first, (slack_.size() + words_.size()) * sizeof(macro_word), PROT_READ) == 0;
}

std::optional<std::ptrdiff_t> GuardedArea::index_of(std::uintptr_t address) const {
  const auto begin = reinterpret_cast<std::uintptr_t>(mapping_);
  if (address < begin || address - begin >= mapped_bytes_)
    return std::nullopt;
  const auto first = reinterpret_cast<std::uintptr_t>(words_.data());
  const std::size_t before = (first - begin) / sizeof(macro_word);
  return static_cast<std::ptrdiff_t>((address - begin) / sizeof(macro_word)) - static_cast<std::ptrdiff_t>(before);
}

std::optional<std::ptrdiff_t> GuardedArea::underrun() const {
  for (std::size_t i = 0; i < slack_.size(); ++i)
    if (slack_[i] != CANARY)
      return static_cast<std::ptrdiff_t>(i) - static_cast<std::ptrdiff_t>(slack_.size());
  return std::nullopt;
}

}  // namespace engine
