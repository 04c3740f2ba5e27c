#include <fmt/format.h>

#include <algorithm>
#include <memory>

#include "engine/report/reference.hpp"
#include "engine/text/file.hpp"
#include "host/command/commands.hpp"
#include "host/command/option_names.hpp"
#include "host/command/output.hpp"

namespace host {
namespace {

struct ReferenceOptions {
  CommonOptions common;
  std::string family;
  std::string folder;
};

using Families = std::vector<std::shared_ptr<const Family>>;

void write_pages(const Families &families, const std::string &folder) {
  write_file(folder + "/README.md", reference_index(families), "--into");
  for (const std::shared_ptr<const Family> &family : families)
    write_file(fmt::format("{}/{}.md", folder, family->name), reference_of(*family, option_name), "--into");
}

ExitStatus reference(const ReferenceOptions &options) {
  BenchInUse bench{options.common};
  bench->macros();
  const Families families = bench.catalogue().families();
  if (!options.folder.empty()) {
    if (!options.family.empty())
      throw InputError("--into writes the pages of all families; give it, or one family");
    write_pages(families, options.folder);
    return ExitStatus::ok;
  }
  const auto family = std::ranges::find(families, options.family, [](const auto &row) { return row->name; });
  if (family == families.end()) {
    std::string names;
    for (const std::shared_ptr<const Family> &known : families)
      names += fmt::format("{}{}", names.empty() ? "" : ", ", known->name);
    throw InputError(fmt::format("{}; the families are {}",
                                 options.family.empty() ? "the family whose page is wanted is missing"
                                                        : fmt::format("there is no family '{}'", options.family),
                                 names));
  }
  write_output(reference_of(**family, option_name));
  return ExitStatus::ok;
}

}  // namespace

void add_reference(Command &program, Action &action) {
  Command *const command = program.add_command(
      "reference", {.summary = "Write the reference of a family of macros, in Markdown",
                    .examples = {"mcrhost reference crossbar", "mcrhost reference --into docs/reference"}});
  const auto options = std::make_shared<ReferenceOptions>();
  command->add("FAMILY", options->family, Takes::family, "Family whose page is printed");
  command->add("--into", options->folder, Takes::folder, "Write the page of every family into this folder instead");
  add_library_option(*command, options->common);
  add_catalogue_option(*command, options->common);
  command->callback([options, &action] { action = [options] { return reference(*options); }; });
}

}  // namespace host
