#pragma once

#include <cstdint>
#include <initializer_list>
#include <stdexcept>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace engine {

/// What of a request an error speaks of.  Each client has names of its own for these: the program its options, a plan
/// its keys.
enum class Subject : std::uint8_t {
  machine,
  macro_list,
  state,
  catalogue,
  run,
  unit,
  direction,
  para,
  data,
  data_file,
  data_words,
  expect,
  mask,
  dry_run,
  restore_rings,
  checkpoint,
  resume,
  junit,
  ocptv,
};

/// What a client calls a subject.
using SubjectName = std::string_view (*)(Subject subject);

/// What it is called where no client has a name of its own: "the state file".
[[nodiscard]] std::string_view neutral_name(Subject subject);

/// A text that speaks of subjects: pieces of it, and the subjects between them.
class Wording {
 public:
  using Piece = std::variant<std::string, Subject>;

  // NOLINTBEGIN(google-explicit-constructor): a text is the simplest wording.
  Wording(std::string text) : pieces_{std::move(text)} {}
  Wording(const char *text) : pieces_{std::string{text}} {}
  // NOLINTEND(google-explicit-constructor)
  Wording(std::initializer_list<Piece> pieces) : pieces_{pieces} {}

  [[nodiscard]] std::string text(SubjectName name) const;
  /// The same behind a text or a subject.
  [[nodiscard]] Wording behind(Piece piece) const;

 private:
  std::vector<Piece> pieces_;
};

/// Wrong input: one line for people that names what was wrong and what would be right.  what() says it with neutral
/// names, text() with those of a client.
class [[nodiscard]] InputError : public std::runtime_error {
 public:
  explicit InputError(Wording wording) : std::runtime_error{wording.text(neutral_name)}, wording_{std::move(wording)} {}
  /// "SUBJECT: wording"
  InputError(Subject about, const Wording &wording) : InputError{wording.behind(": ").behind(about)} {}

  [[nodiscard]] const Wording &wording() const { return wording_; }
  [[nodiscard]] std::string text(SubjectName name) const { return wording_.text(name); }

 private:
  Wording wording_;
};

/// What the messages of a function begin with: the name of a client's own ("--data-in"), or a subject.
class Label {
 public:
  // NOLINTBEGIN(google-explicit-constructor): callers give the one or the other.
  Label(Subject subject) : piece_{subject} {}
  Label(std::string_view text) : piece_{std::string{text}} {}
  Label(const std::string &text) : piece_{text} {}
  Label(const char *text) : piece_{std::string{text}} {}
  // NOLINTEND(google-explicit-constructor)

  /// The error "LABEL: message".
  [[nodiscard]] InputError error(const std::string &message) const {
    return InputError{Wording{piece_, Wording::Piece{": " + message}}};
  }

 private:
  Wording::Piece piece_;
};

}  // namespace engine
