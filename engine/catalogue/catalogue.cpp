#include "engine/catalogue/catalogue.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "engine/catalogue/embedded_catalogue.hpp"
#include "engine/text/error.hpp"

namespace engine {
namespace {

std::string text_of_file(const std::filesystem::path &path) {
  std::ifstream file{path, std::ios::binary};
  std::string text{std::istreambuf_iterator<char>{file}, {}};
  if (!file)
    throw InputError{Subject::catalogue, fmt::format("cannot read '{}'", path.string())};
  return text;
}

}  // namespace

unsigned DataField::width() const {
  unsigned width = 0;
  for (const Piece &piece : pieces)
    width += piece.bits.width();
  return width;
}

bool When::with(const MacroDirection *direction) const {
  return always || (direction != nullptr && std::ranges::find(directions, direction->name) != directions.end());
}

const MacroDirection *MacroEntry::direction(macro_word rw) const {
  const auto found = std::ranges::find(directions, rw, &MacroDirection::rw);
  return found == directions.end() ? nullptr : &*found;
}

const MacroDirection *MacroEntry::direction(std::string_view direction_name) const {
  const auto found = std::ranges::find(directions, direction_name, &MacroDirection::name);
  return found == directions.end() ? nullptr : &*found;
}

std::string_view MacroEntry::title_of_sub_code(macro_word subcode) const {
  const auto found = std::ranges::find(errors, static_cast<std::int32_t>(subcode), &Refusal::subcode);
  return found == errors.end() ? std::string_view{} : found->title;
}

Catalogue::Catalogue(const std::string &folder) {
  if (folder.empty()) {
    for (const toml_file::Embedded &file : embedded_catalogue())
      files_.push_back(
          {std::string{file.name}, fmt::format("catalogue/{}.toml", file.name), std::string{file.text}, {}});
  } else {
    std::error_code error;
    for (std::filesystem::directory_iterator at{folder, error}, end; !error && at != end; at.increment(error))
      if (at->path().extension() == ".toml")
        files_.push_back({at->path().stem().string(), at->path().string(), text_of_file(at->path()), {}});
    if (error)
      throw InputError{Subject::catalogue, fmt::format("cannot read the folder '{}': {}", folder, error.message())};
    if (files_.empty())
      throw InputError{Subject::catalogue, fmt::format("there is no .toml file in '{}'", folder)};
  }
  std::ranges::sort(files_, {}, &File::name);
  // What others wrote is looked at as a whole, so that no mistake hides in a file that is not asked for.
  if (!folder.empty())
    for (const File &file : files_)
      static_cast<void>(file.read());
}

const std::shared_ptr<const Family> &Catalogue::File::read() const {
  if (!family)
    family = std::make_shared<const Family>(read_family(text, origin, name));
  return family;
}

std::shared_ptr<const MacroEntry> Catalogue::find(std::string_view macro) const {
  const std::string quoted = fmt::format("\"{}\"", macro);
  for (const File &file : files_) {
    if (file.text.find(quoted) == std::string::npos)
      continue;
    const std::shared_ptr<const Family> &family = file.read();
    const auto found = std::ranges::find(family->macros, macro, &MacroEntry::name);
    // The entry lives as long as its family.
    if (found != family->macros.end())
      return {family, &*found};
  }
  return nullptr;
}

std::vector<std::shared_ptr<const Family>> Catalogue::families() const {
  std::vector<std::shared_ptr<const Family>> families;
  families.reserve(files_.size());
  for (const File &file : files_)
    families.push_back(file.read());
  return families;
}

}  // namespace engine
