#include "mac/register_file.hpp"

IDENTIFICATION static const char mcrid[] = "MACRO: ma_9040_0101 (0001)  2026.11.21 09:00:00  PRO1 macrodebug";

namespace {

/// Dumps the controller's main registers into _DATA[0] to _DATA[22]; with _RW = 1 only.
struct ControllerDump : mac::RegisterFile {
  struct Source {
    macro_word port;  ///< instance, one bit for each memory channel
    macro_word number;
  };
  static constexpr Source SOURCES[] = {
      {MACRO_ALL, 16},                                       //
      {16, 6},         {32, 6},          {64, 6}, {128, 6},  //
      {16, 7},         {32, 7},          {64, 7}, {128, 7},  //
      {16, 4},         {32, 4},          {64, 4}, {128, 4},  //
      {MACRO_ALL, 24}, {MACRO_ALL, 16},                      //
      {MACRO_ALL, 25}, {MACRO_ALL, 18},                      //
      {MACRO_ALL, 26}, {MACRO_ALL, 32},                      //
      {MACRO_ALL, 27}, {MACRO_ALL, 33},                      //
      {MACRO_ALL, 91}, {MACRO_ALL, 128},
  };

  int run() {
    if (_RW != frame::READ)
      return frame::DONE;
    for (const Source &source : SOURCES)
      if (!get(source.number, _DATA[_COUNT0++], source.port))
        return frame::STOPPED;
    return FELL_THROUGH;
  }
};

}  // namespace

MACRO_ENTRY(ma_9040_0101, ControllerDump)
