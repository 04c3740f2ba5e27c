#include "support/stage.hpp"

#include <algorithm>
#include <stdexcept>

namespace support {

using scdb::Call;
using scdb::Primitive;
using scdb::Reason;

namespace {

constexpr macro_word CANARY = 0xC0DEC0DE;
constexpr std::size_t PARA_WORDS = 32;
constexpr std::size_t EXP_WORDS = 16;

macro_word zero(std::size_t /*index*/) {
  return 0;
}

const scdb::Macro &macro_named(const std::string &name) {
  if (scdb::macros().empty())
    scdb::load_macro_library(MACRO_LIBRARY);
  const scdb::Macro *macro = scdb::find_macro(std::string_view(name));
  if (macro == nullptr)
    throw std::invalid_argument("the library has no macro " + name);
  return *macro;
}

/// The operands that go into word 2 of a record.
constexpr std::string_view CODES[] = {"code", "ring", "number", "device", "address"};

std::uint64_t mix(std::uint64_t digest, std::uint64_t word) {
  return (digest ^ word) * 0x9E3779B97F4A7C15U + (digest >> 29);
}

}  // namespace

Area::Area(std::size_t size, std::span<const macro_word> start, macro_word (*fill)(std::size_t))
    : start_(size + 2 * MARGIN, CANARY) {
  for (std::size_t i = 0; i < size; ++i)
    start_[MARGIN + i] = i < start.size() ? start[i] : fill(i);
  words_ = start_;
}

bool Area::margins_untouched() const {
  const auto untouched = [](macro_word word) { return word == CANARY; };
  return std::all_of(words_.data(), words_.data() + MARGIN, untouched)
         && std::all_of(words_.data() + words_.size() - MARGIN, words_.data() + words_.size(), untouched);
}

Stage::Stage(const RunInput &input, const UnitWords &unit)
    : macro_{macro_named(input.macro)},
      unit_{unit},
      rw_{input.rw},
      status_{input.status},
      para_(PARA_WORDS, input.para, zero),
      data_(std::max(input.data_words, input.data.size()), input.data, background),
      err_(ERROR_RECORD_WORDS, {}, [](std::size_t) { return ERR_BACKGROUND; }),
      exp_(EXP_WORDS, {}, zero) {}

int Stage::run() {
  for (Area *area : {&para_, &data_, &err_, &exp_})
    area->reset();
  scdb::begin_run();
  _RETURN = status_;
  return macro_.entry(unit_.type, unit_.number, unit_.mring.data(), rw_, para_.data(), data_.data(), err_.data(),
                      exp_.data());
}

bool Stage::kept_to_its_areas() const {
  return para_.untouched() && exp_.untouched() && data_.margins_untouched() && err_.margins_untouched();
}

Reason Follower::before(const Call &call) {
  if (call.primitive == Primitive::shift)
    return Reason::none;
  if (failed_index_ != NONE) {
    later_.push_back(line_of(call, unit_));
  } else {
    digest_ = mix(digest_, std::uint64_t{call.depth} << 8 | static_cast<std::uint64_t>(call.primitive));
    for (const scdb::Operand &operand : call.operands)
      digest_ = mix(digest_, operand.value);
    for (const macro_word address : call.addresses)
      digest_ = mix(digest_, address);
    if (call.has_unit) {
      digest_ = mix(digest_, std::uint64_t{call.unit.type} << 32 | call.unit.number);
      // Nearly all calls are for the run's own chips.
      if (call.unit.mring != nullptr && !std::equal(unit_.mring.begin(), unit_.mring.end(), call.unit.mring))
        for (int board = 0; board < MRING_WORDS; ++board)
          digest_ = mix(digest_, call.unit.mring[board]);
    }
  }
  if (call.primitive == Primitive::wait)
    return Reason::none;
  if (on_call)
    on_call(failable_);
  const std::size_t index = failable_++;
  if (index >= limit_)
    return Reason::interrupted;
  return index == failing_ ? Reason::injected : Reason::none;
}

void Follower::after(const Call &call, const scdb::CallResult &result) {
  if (!result.outcome.ok()) {
    if (failed_index_ == NONE) {
      failed_index_ = failable_ - 1;
      failed_ = line_of(call, unit_);
      failed_primitive_ = call.primitive;
      for (const scdb::Operand &operand : call.operands)
        if (std::ranges::find(CODES, operand.name) != std::end(CODES))
          failed_code_ = operand.value;
    }
    return;
  }
  if (call.primitive != Primitive::scan)
    return;
  constexpr macro_word OPEN = 128;
  constexpr macro_word CLOSE = 129;
  const macro_word ring = operand(call, "ring");
  if (operand(call, "mode") == OPEN) {
    opened_.insert(ring);
    left_open_.insert(ring);
  } else if (operand(call, "mode") == CLOSE) {
    left_open_.erase(ring);
  }
}

}  // namespace support
