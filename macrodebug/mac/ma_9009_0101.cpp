#include "mac/register_file.hpp"

IDENTIFICATION static const char mcrid[] = "MACRO: ma_9009_0101 (0001)  2026.11.21 09:00:00  PRO1 macrodebug";

namespace {

/// Starts a group's final run and waits for its end, at most 11 milliseconds.
///
/// Group word, 0 = nothing found: bit 31 first and bit 30 second kind of error, bit 29 time-out.
struct CompletionPoll : mac::RegisterFile {
  // The completion register.
  static constexpr macro_word CLEAR = 0x1000404C;
  static constexpr macro_word START = 0x08008000;
  static constexpr macro_word STOP = 0x10004000;
  static constexpr macro_word DONE_BIT = 0x40;
  static constexpr macro_word ERROR_1 = 0x08;
  static constexpr macro_word ERROR_2 = 0x04;

  static constexpr int32_t MOST_READS = 11;
  static constexpr macro_word INTERVAL = 1000;

  int run() {
    if (_PARA[0] != mac::GROUP_1 && _PARA[0] != mac::GROUP_2)
      return refuse_selector();
    const mac::Group &group = mac::group_of(_PARA[0]);
    clear_results();
    if (!(put(group.completion, CLEAR) && put(group.completion, START)))
      return frame::STOPPED;
    do {
      if (!get(group.completion, _WORK0))
        return frame::STOPPED;
      _WORK0 &= DONE_BIT | ERROR_1 | ERROR_2;
      lmcr_wait(INTERVAL);
      ++_COUNT0;
    } while (_WORK0 == 0 && _COUNT0 < MOST_READS);

    if (_WORK0 == DONE_BIT) {
      _DATA[0] = mac::COMPLETE;
      return FELL_THROUGH;
    }
    if (_WORK0 == 0 && !put(group.completion, STOP))
      return frame::STOPPED;
    _DATA[0] = mac::FINDING;
    if (_WORK0 == 0)
      _DATA[group.result] |= 0x20000000;
    if ((_WORK0 & ERROR_1) != 0)
      _DATA[group.result] |= 0x80000000;
    if ((_WORK0 & ERROR_2) != 0)
      _DATA[group.result] |= 0x40000000;
    return FELL_THROUGH;
  }
};

}  // namespace

MACRO_ENTRY(ma_9009_0101, CompletionPoll)
