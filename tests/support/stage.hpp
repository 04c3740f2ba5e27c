#pragma once

#include <cstdint>
#include <set>
#include <span>

#include "scdb/macros.hpp"
#include "support/support.hpp"

/// Runs of one macro, many in a row and at little cost.
namespace support {

/// An area of a macro, with words around it that must stay as they are.
class Area {
 public:
  /// @param start contents before a run; the words after them come from `fill`.
  Area(std::size_t size, std::span<const macro_word> start, macro_word (*fill)(std::size_t));

  [[nodiscard]] macro_word *data() { return words_.data() + MARGIN; }
  [[nodiscard]] std::span<const macro_word> contents() const { return inner(words_); }
  [[nodiscard]] std::span<const macro_word> before() const { return inner(start_); }
  void reset() { words_ = start_; }
  [[nodiscard]] bool untouched() const { return words_ == start_; }
  [[nodiscard]] bool margins_untouched() const;

 private:
  static constexpr std::size_t MARGIN = 16;
  [[nodiscard]] static std::span<const macro_word> inner(const Words &words) {
    return std::span(words).subspan(MARGIN, words.size() - 2 * MARGIN);
  }
  Words start_;
  Words words_;
};

/// The areas of a macro, as run_macro() has them.
class Stage {
 public:
  Stage(const RunInput &input, const UnitWords &unit);

  /// Runs the macro on the attached machine; every area holds what it held before the first run.  @return its result.
  int run();

  [[nodiscard]] const Area &data() const { return data_; }
  [[nodiscard]] const Area &err() const { return err_; }
  /// Whether the last run left alone what is not its own: _PARA, _EXP, and the words around every area.
  [[nodiscard]] bool kept_to_its_areas() const;

 private:
  const scdb::Macro &macro_;
  UnitWords unit_;
  macro_word rw_;
  macro_word status_;
  Area para_;
  Area data_;
  Area err_;
  Area exp_;
};

/// Follows a run at little cost: the calls up to the first failure as a number, those after it as text.
class Follower : public scdb::Observer {
 public:
  static constexpr std::size_t NONE = SIZE_MAX;

  explicit Follower(const UnitWords &unit) : unit_{unit} {}

  /// Makes the call of this index fail, 0 being the first; lmcr_shift and lmcr_wait are not counted.
  void fail_call(std::size_t index) { failing_ = index; }
  /// Interrupts the run at the call of this index, and every call after it.
  void limit(std::size_t calls) { limit_ = calls; }
  /// Told before each call that can fail: its index.
  std::function<void(std::size_t index)> on_call;

  scdb::Reason before(const scdb::Call &call) override;
  void after(const scdb::Call &call, const scdb::CallResult &result) override;

  /// Calls so far that could fail.
  [[nodiscard]] std::size_t failable() const { return failable_; }
  /// Differs between runs that made other calls; stands still from the first failure on.
  [[nodiscard]] std::uint64_t digest() const { return digest_; }
  [[nodiscard]] bool limited() const { return failable_ > limit_; }

  /// The index of the call that failed first, and its line; NONE when none has failed.
  [[nodiscard]] std::size_t failed_index() const { return failed_index_; }
  [[nodiscard]] const std::string &failed() const { return failed_; }
  /// Words 1 and 2 of the record that it leaves, if it leaves one.
  [[nodiscard]] scdb::Primitive failed_primitive() const { return failed_primitive_; }
  [[nodiscard]] macro_word failed_code() const { return failed_code_; }
  /// The calls after it.
  [[nodiscard]] const Lines &later() const { return later_; }

  /// Rings that were opened, and those of them that were not closed.
  [[nodiscard]] const std::set<macro_word> &opened() const { return opened_; }
  [[nodiscard]] const std::set<macro_word> &left_open() const { return left_open_; }

 private:
  UnitWords unit_;
  std::size_t failing_ = NONE;
  std::size_t limit_ = NONE;
  std::size_t failable_ = 0;
  std::uint64_t digest_ = 0;
  std::size_t failed_index_ = NONE;
  std::string failed_;
  scdb::Primitive failed_primitive_{};
  macro_word failed_code_ = 0;
  Lines later_;
  std::set<macro_word> opened_;
  std::set<macro_word> left_open_;
};

}  // namespace support
