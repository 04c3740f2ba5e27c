#include "engine/run/guard.hpp"

#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <new>

namespace engine {
namespace {

/// Wide enough that also long strides past an area, a whole ring or array, land in it.
constexpr std::size_t GUARD_BYTES = std::size_t{1} << 20;

/// What the words before an area hold.
constexpr macro_word CANARY = 0xC0DEB17E;

std::size_t round_up(std::size_t value, std::size_t unit) {
  return (value + unit - 1) / unit * unit;
}

std::size_t page_bytes() {
  static const auto bytes = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  return bytes;
}

std::size_t guard_bytes() {
  return round_up(GUARD_BYTES, page_bytes());
}

/// Maps shared memory a second time, at `seen`, for reading: a mapping of which nothing is moved comes to be twice.
bool map_again(void *own, std::byte *seen, std::size_t bytes) {
  return mremap(own, 0, bytes, MREMAP_MAYMOVE | MREMAP_FIXED, seen) == seen && mprotect(seen, bytes, PROT_READ) == 0;
}

/// The same with a file in memory, for emulators that know no other way.  Its size counts as that of a file.
void *map_file_twice(std::byte *seen, std::size_t bytes) {
  rlimit limit{};
  if (getrlimit(RLIMIT_FSIZE, &limit) != 0 || limit.rlim_cur < bytes)
    return MAP_FAILED;
  const int memory = memfd_create("macrodebug", MFD_CLOEXEC);
  if (memory < 0)
    return MAP_FAILED;
  void *own = MAP_FAILED;
  if (ftruncate(memory, static_cast<off_t>(bytes)) == 0)
    own = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED, memory, 0);
  if (own != MAP_FAILED && mmap(seen, bytes, PROT_READ, MAP_SHARED | MAP_FIXED, memory, 0) == MAP_FAILED) {
    munmap(own, bytes);
    own = MAP_FAILED;
  }
  close(memory);
  return own;
}

/// Memory that is at two addresses: at `seen` it can only be read.
/// @return where it can be written; `seen` itself where there is no second address to be had.
std::byte *map_twice(std::byte *seen, std::size_t bytes) {
  void *own = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (own != MAP_FAILED && map_again(own, seen, bytes))
    return static_cast<std::byte *>(own);
  if (own != MAP_FAILED)
    munmap(own, bytes);
  own = map_file_twice(seen, bytes);
  return own == MAP_FAILED ? seen : static_cast<std::byte *>(own);
}

}  // namespace

GuardedArea::GuardedArea(std::string_view name, std::size_t words, AreaUse use)
    : name_{name}, usable_{bytes_for(words)} {
  const std::size_t guard = guard_bytes();
  void *const mapping = mmap(nullptr, usable_ + 2 * guard, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (mapping == MAP_FAILED)
    throw std::bad_alloc();
  mapping_ = static_cast<std::byte *>(mapping);
  own_ = use == AreaUse::read ? map_twice(mapping_ + guard, usable_) : mapping_ + guard;
  sealed_ = use == AreaUse::read && own_ == mapping_ + guard;
  if (own_ == mapping_ + guard && mprotect(own_, usable_, PROT_READ | PROT_WRITE) != 0) {
    munmap(mapping_, usable_ + 2 * guard);
    throw std::bad_alloc();
  }
  place(words);
}

GuardedArea::~GuardedArea() {
  if (own_ != mapping_ + guard_bytes())
    munmap(own_, usable_);
  munmap(mapping_, usable_ + 2 * guard_bytes());
}

std::size_t GuardedArea::bytes_for(std::size_t words) {
  return round_up(words * sizeof(macro_word), page_bytes());
}

void GuardedArea::place(std::size_t words) {
  void *const first = own_;
  const std::span<macro_word> all{static_cast<macro_word *>(first), usable_ / sizeof(macro_word)};
  slack_ = all.first(all.size() - words);
  words_ = all.last(words);
  std::ranges::fill(slack_, CANARY);
}

void GuardedArea::resize(std::size_t words) {
  if (words == words_.size())
    return;
  open();
  place(words);
}

void GuardedArea::open() {
  if (sealed_ && mprotect(own_, usable_, PROT_READ | PROT_WRITE) != 0)
    throw std::bad_alloc();
}

void GuardedArea::seal() {
  if (sealed_ && mprotect(own_, usable_, PROT_READ) != 0)
    throw std::bad_alloc();
}

macro_word *GuardedArea::address() const {
  void *const seen = mapping_ + guard_bytes() + slack_.size_bytes();
  return static_cast<macro_word *>(seen);
}

std::optional<std::ptrdiff_t> GuardedArea::index_of(std::uintptr_t address) const {
  const auto begin = reinterpret_cast<std::uintptr_t>(mapping_);
  if (address < begin || address - begin >= usable_ + 2 * guard_bytes())
    return std::nullopt;
  const std::size_t before = guard_bytes() / sizeof(macro_word) + slack_.size();
  return static_cast<std::ptrdiff_t>((address - begin) / sizeof(macro_word)) - static_cast<std::ptrdiff_t>(before);
}

std::optional<std::ptrdiff_t> GuardedArea::take_underrun() {
  // All alike, and the first as it should be.
  if (slack_.empty()
      || (slack_.front() == CANARY
          && std::memcmp(slack_.data(), slack_.data() + 1, slack_.size_bytes() - sizeof(macro_word)) == 0))
    return std::nullopt;
  const auto written = std::ranges::find_if(slack_, [](macro_word word) { return word != CANARY; });
  const std::ptrdiff_t index = (written - slack_.begin()) - static_cast<std::ptrdiff_t>(slack_.size());
  std::ranges::fill(slack_, CANARY);
  return index;
}

}  // namespace engine
