#include "scdb/macros.hpp"

#include <dlfcn.h>
#include <fmt/format.h>
#include <link.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>

namespace scdb {
namespace {

constexpr bool is_digit(char c) {
  return c >= '0' && c <= '9';
}
constexpr bool is_upper_hex(char c) {
  return is_digit(c) || (c >= 'A' && c <= 'F');
}

/// What the dynamic section of a loaded object says of its symbols.
struct DynamicSymbols {
  const ElfW(Sym) *symbols = nullptr;
  const char *strings = nullptr;
  std::size_t count = 0;
};

/// Pointers in a dynamic section have been relocated by the loader, except in objects that the kernel supplies.
template <class T>
const T *at(ElfW(Addr) base, ElfW(Addr) value) {
  // NOLINTNEXTLINE(performance-no-int-to-ptr): the loader hands out addresses as integers.
  return reinterpret_cast<const T *>(value < base ? base + value : value);
}

/// The number of symbols is not stored when an object has only a GNU hash table: it ends the chain of the last bucket.
std::size_t count_by_gnu_hash(const std::uint32_t *table) {
  const std::uint32_t buckets = table[0];
  const std::uint32_t first = table[1];
  const std::uint32_t bloom_words = table[2];
  const std::uint32_t *bucket = table + 4 + bloom_words * (sizeof(ElfW(Addr)) / sizeof(std::uint32_t));
  const std::uint32_t *chain = bucket + buckets;
  std::uint32_t last = 0;
  for (std::uint32_t i = 0; i < buckets; ++i)
    last = std::max(last, bucket[i]);
  if (last < first)
    return first;
  while ((chain[last - first] & 1) == 0)
    ++last;
  return last + 1;
}

DynamicSymbols dynamic_symbols(const dl_phdr_info &object) {
  DynamicSymbols found;
  const std::span headers{object.dlpi_phdr, object.dlpi_phnum};
  for (const ElfW(Phdr) & header : headers) {
    if (header.p_type != PT_DYNAMIC)
      continue;
    for (const ElfW(Dyn) *entry = at<ElfW(Dyn)>(0, object.dlpi_addr + header.p_vaddr); entry->d_tag != DT_NULL;
         ++entry) {
      const ElfW(Addr) value = entry->d_un.d_ptr;
      switch (entry->d_tag) {
        case DT_SYMTAB:
          found.symbols = at<ElfW(Sym)>(object.dlpi_addr, value);
          break;
        case DT_STRTAB:
          found.strings = at<char>(object.dlpi_addr, value);
          break;
        case DT_HASH:
          found.count = at<std::uint32_t>(object.dlpi_addr, value)[1];
          break;
        case DT_GNU_HASH:
          if (found.count == 0)
            found.count = count_by_gnu_hash(at<std::uint32_t>(object.dlpi_addr, value));
          break;
        default:
          break;
      }
    }
  }
  return found;
}

/// What every identification string starts with.
constexpr std::string_view MARK = "MACRO: ";
constexpr std::ptrdiff_t MARK_LENGTH = MARK.size();

/// How far the search for it may move on from a byte at its end: to where the mark has that letter itself.
constexpr std::array<std::uint8_t, 256> STEPS = [] {
  std::array<std::uint8_t, 256> steps{};
  steps.fill(MARK_LENGTH);
  for (std::size_t i = 0; i + 1 < MARK.size(); ++i)
    steps[static_cast<unsigned char>(MARK[i])] = static_cast<std::uint8_t>(MARK.size() - 1 - i);
  return steps;
}();

/// The next mark in memory that holds anything at all, or null.  Without the sanitizer: its red zones between variables
/// are no bounds for this search.
__attribute__((no_sanitize("address"))) const char *next_mark(const char *begin, const char *end) {
  // NOLINTBEGIN(readability-simplify-subscript-expr): the sanitizer would come back with the container's operator.
  while (end - begin >= MARK_LENGTH) {
    std::size_t same = 0;
    while (same < MARK.size() && begin[same] == MARK.data()[same])
      ++same;
    if (same == MARK.size())
      return begin;
    begin += STEPS.data()[static_cast<unsigned char>(begin[MARK_LENGTH - 1])];
  }
  // NOLINTEND(readability-simplify-subscript-expr)
  return nullptr;
}

/// The identification strings "MACRO: NAME (..." in an object's read-only memory, by name.
std::map<std::string_view, const char *> find_identifications(const dl_phdr_info &object) {
  std::map<std::string_view, const char *> found;
  for (const ElfW(Phdr) & header : std::span{object.dlpi_phdr, object.dlpi_phnum}) {
    if (header.p_type != PT_LOAD || (header.p_flags & (PF_R | PF_W)) != PF_R)
      continue;
    const char *memory = at<char>(0, object.dlpi_addr + header.p_vaddr);
    const char *end = memory + header.p_filesz;
    while ((memory = next_mark(memory, end)) != nullptr) {
      const char *name = memory + MARK_LENGTH;
      found.emplace(std::string_view{name, std::strcspn(name, " ")}, memory);
      memory = name;
    }
  }
  return found;
}

/// The macros of one loaded object, by name.
void collect(const dl_phdr_info &object, std::vector<Macro> &macros) {
  const DynamicSymbols table = dynamic_symbols(object);
  if (table.symbols == nullptr || table.strings == nullptr)
    return;
  const std::size_t first = macros.size();
  for (const ElfW(Sym) & symbol : std::span{table.symbols, table.count}) {
    if ((symbol.st_info & 0xF) != STT_FUNC || symbol.st_shndx == SHN_UNDEF)
      continue;
    const std::string_view name = table.strings + symbol.st_name;
    const std::optional<MacroName> parts = parse_macro_name(name);
    if (!parts)
      continue;
    // NOLINTNEXTLINE(performance-no-int-to-ptr): the symbol table holds addresses as integers.
    auto *entry = reinterpret_cast<macro_entry *>(object.dlpi_addr + symbol.st_value);
    macros.push_back({std::string(name), parts->number, parts->variant, entry, object.dlpi_name, {}});
  }
  if (macros.size() == first)
    return;
  const std::map<std::string_view, const char *> identifications = find_identifications(object);
  for (Macro &macro : std::span{macros}.subspan(first))
    if (const auto text = identifications.find(macro.name); text != identifications.end())
      macro.identification = text->second;
  std::ranges::sort(macros.begin() + static_cast<std::ptrdiff_t>(first), macros.end(), {}, &Macro::name);
}

/// The macros that were found, and the loader's count of loaded and unloaded objects at that time.
struct Found {
  std::vector<Macro> macros;
  std::vector<const Macro *> by_number;  ///< the first of each number
  unsigned long long loaded = 0;
  unsigned long long unloaded = 0;
};

int visit(dl_phdr_info *object, std::size_t /*size*/, void *argument) {
  auto &found = *static_cast<Found *>(argument);
  if (found.loaded == object->dlpi_adds && found.unloaded == object->dlpi_subs)
    return 1;  // nothing has changed since: stop here
  collect(*object, found.macros);
  return 0;
}

int note_counts(dl_phdr_info *object, std::size_t /*size*/, void *argument) {
  auto &found = *static_cast<Found *>(argument);
  found.loaded = object->dlpi_adds;
  found.unloaded = object->dlpi_subs;
  return 1;
}

/// Reads the symbol tables anew when the loader has loaded or unloaded something.
const Found &found() {
  static Found now;
  Found fresh;
  fresh.loaded = now.loaded;
  fresh.unloaded = now.unloaded;
  if (dl_iterate_phdr(visit, &fresh) != 0)
    return now;
  dl_iterate_phdr(note_counts, &fresh);
  now = std::move(fresh);
  for (const Macro &macro : now.macros)
    now.by_number.push_back(&macro);
  // Stable: of several macros of a number, the first library's comes first, then the lowest variant.
  std::ranges::stable_sort(now.by_number, {}, [](const Macro *macro) { return macro->number; });
  return now;
}

/// As root, a file that somebody else can change is not loaded: neither the file nor its folder may be open to others
/// than root and the owner of this library.
void refuse_if_others_may_write(const std::filesystem::path &path) {
  if (geteuid() != 0)
    return;
  Dl_info own{};
  struct stat trusted {};
  if (dladdr(&_RETURN, &own) == 0 || stat(own.dli_fname, &trusted) != 0)
    trusted.st_uid = 0;
  for (const std::filesystem::path &place : {path, path.parent_path()}) {
    struct stat status {};
    if (stat(place.c_str(), &status) != 0)
      throw LibraryError(fmt::format("{}: {}", place.string(), std::strerror(errno)));
    const bool sticky_folder = S_ISDIR(status.st_mode) && (status.st_mode & S_ISVTX) != 0;
    const bool open_to_others = (status.st_mode & S_IWOTH) != 0 && !sticky_folder;
    const bool open_to_group = (status.st_mode & S_IWGRP) != 0 && status.st_gid != 0 && !sticky_folder;
    const bool foreign = status.st_uid != 0 && status.st_uid != trusted.st_uid;
    if (open_to_others || open_to_group || foreign)
      throw LibraryError(
          fmt::format("{}: others than root may write {}, so it is not loaded as root; take their right away with "
                      "chown root and chmod go-w",
                      path.string(), place == path ? "this library" : "the folder of this library"));
  }
}

/// Takes from the front of a text what has this form: # stands for a digit, * for what comes before the next blank,
/// others for themselves.  Empty where the text begins otherwise.
std::string_view take(std::string_view form, std::string_view &text) {
  std::size_t length = 0;
  for (const char wanted : form) {
    if (wanted == '*')
      length = std::min(text.find(' ', length), text.size());
    else if (length < text.size() && (wanted == '#' ? is_digit(text[length]) : text[length] == wanted))
      ++length;
    else
      return {};
  }
  const std::string_view taken = text.substr(0, length);
  text.remove_prefix(length);
  return taken;
}

}  // namespace

LibraryError::~LibraryError() = default;

std::optional<MacroName> parse_macro_name(std::string_view name) {
  // "cp_9A10_0101": a prefix, then ten characters.
  constexpr std::size_t TAIL = 10;
  if (name.size() <= TAIL)
    return std::nullopt;
  const std::string_view prefix = name.substr(0, name.size() - TAIL);
  const std::string_view tail = name.substr(prefix.size());
  if (std::ranges::find(MACRO_PREFIXES, prefix, &MacroPrefix::text) == MACRO_PREFIXES.end() || tail[0] != '_'
      || tail[5] != '_' || !std::ranges::all_of(tail.substr(1, 4), is_upper_hex)
      || !std::ranges::all_of(tail.substr(6), is_digit))
    return std::nullopt;
  MacroName parts{prefix, 0, 0};
  for (const char c : tail.substr(1, 4))
    parts.number = parts.number * 16 + static_cast<unsigned>(is_digit(c) ? c - '0' : c - 'A' + 10);
  for (const char c : tail.substr(6))
    parts.variant = parts.variant * 10 + static_cast<unsigned>(c - '0');
  return parts;
}

std::optional<Identification> parse_identification(std::string_view text) {
  Identification fields;
  if (take("MACRO: ", text).empty() || (fields.name = take("*", text)).empty() || take(" (", text).empty()
      || (fields.revision = take("####", text)).empty() || take(")  ", text).empty()
      || (fields.date = take("####.##.##", text)).empty() || take(" ", text).empty()
      || (fields.time = take("##:##:##", text)).empty() || take("  ", text).empty()
      || (fields.group = take("*", text)).empty() || take(" ", text).empty())
    return std::nullopt;
  fields.author = text;
  return fields;
}

namespace {

/// Of a library whose end is missing the loader maps what is not there, and the first access to it is a fault.  What is
/// no library for this processor is left to the loader to tell.
void refuse_if_cut_short(const std::filesystem::path &file) {
  const std::uintmax_t size = std::filesystem::file_size(file);
  std::ifstream input{file, std::ios::binary};
  ElfW(Ehdr) header{};
  constexpr unsigned char OUR_CLASS = sizeof(void *) == 8 ? ELFCLASS64 : ELFCLASS32;
  constexpr unsigned char OUR_ORDER = std::endian::native == std::endian::little ? ELFDATA2LSB : ELFDATA2MSB;
  if (!input.read(reinterpret_cast<char *>(&header), sizeof header)
      || std::string_view{reinterpret_cast<const char *>(header.e_ident), SELFMAG} != ELFMAG
      || header.e_ident[EI_CLASS] != OUR_CLASS || header.e_ident[EI_DATA] != OUR_ORDER)
    return;
  for (unsigned i = 0; i < header.e_phnum; ++i) {
    ElfW(Phdr) segment{};
    input.seekg(static_cast<std::streamoff>(header.e_phoff + std::uint64_t{i} * header.e_phentsize));
    if (!input.read(reinterpret_cast<char *>(&segment), sizeof segment)
        || (segment.p_type == PT_LOAD && (segment.p_filesz > size || segment.p_offset > size - segment.p_filesz)))
      throw LibraryError(
          fmt::format("{}: the file is cut short: its {} bytes are not all of the library", file.string(), size));
  }
}

}  // namespace

void load_macro_library(const std::string &path) {
  std::error_code error;
  const std::filesystem::path file = std::filesystem::canonical(path, error);
  if (error)
    throw LibraryError(fmt::format("{}: {}", path, error.message()));
  refuse_if_others_may_write(file);
  refuse_if_cut_short(file);
  void *library = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr)
    throw LibraryError(fmt::format("cannot load macro library {}", dlerror()));
  const auto has_macros = [&file](const Macro &macro) {
    std::error_code unknown;
    return std::filesystem::equivalent(macro.library, file, unknown);
  };
  if (std::ranges::none_of(macros(), has_macros)) {
    dlclose(library);
    throw LibraryError(fmt::format("{}: exports no macro (a name such as cp_9A10_0101)", path));
  }
}

std::span<const Macro> macros() {
  return found().macros;
}

const Macro *find_macro(std::string_view name) {
  const std::span<const Macro> all = macros();
  const auto macro = std::ranges::find(all, name, &Macro::name);
  return macro != all.end() ? &*macro : nullptr;
}

const Macro *find_macro(unsigned number) {
  const std::vector<const Macro *> &all = found().by_number;
  const auto macro = std::ranges::lower_bound(all, number, {}, [](const Macro *row) { return row->number; });
  return macro != all.end() && (*macro)->number == number ? *macro : nullptr;
}

}  // namespace scdb
