#include "engine/text/error.hpp"

#include <algorithm>
#include <array>
#include <utility>

namespace engine {

std::string_view neutral_name(Subject subject) {
  struct Row {
    Subject subject;
    std::string_view name;
  };
  static constexpr std::array<Row, 19> ROWS{{
      {Subject::machine, "machine"},
      {Subject::macro_list, "the list of macros"},
      {Subject::state, "state"},
      {Subject::catalogue, "catalogue"},
      {Subject::run, "run"},
      {Subject::unit, "unit"},
      {Subject::direction, "direction"},
      {Subject::para, "_PARA"},
      {Subject::data, "_DATA"},
      {Subject::data_file, "file of _DATA"},
      {Subject::data_words, "size of _DATA"},
      {Subject::expect, "expected words"},
      {Subject::mask, "mask"},
      {Subject::dry_run, "dry run"},
      {Subject::restore_rings, "restoring open rings"},
      {Subject::checkpoint, "checkpoint"},
      {Subject::resume, "resuming"},
      {Subject::junit, "JUnit file"},
      {Subject::ocptv, "OCPTV file"},
  }};
  return std::ranges::find(ROWS, subject, &Row::subject)->name;
}

std::string Wording::text(SubjectName name) const {
  std::string all;
  for (const Piece &piece : pieces_)
    if (const auto *const subject = std::get_if<Subject>(&piece))
      all += name(*subject);
    else
      all += std::get<std::string>(piece);
  return all;
}

Wording Wording::behind(Piece piece) const {
  Wording result = *this;
  result.pieces_.insert(result.pieces_.begin(), std::move(piece));
  return result;
}

}  // namespace engine
