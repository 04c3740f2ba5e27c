#pragma once

#include "libscfjtag.h"
#include "macrodebug.h"

/// What every macro is made of.
///
/// A macro is a body run in a frame: a struct derived from Frame with a member `int run()`.  The arguments of the entry
/// and the working variables of the macro language are in scope there under their own names.  The optimiser dissolves
/// the frame: what is left are the calls and tests that one would write by hand.
namespace frame {

/// Result of a macro that a failed primitive or a refused parameter stopped.
inline constexpr int STOPPED = -1;
/// Result of a macro that came to its end, and of most that refuse a parameter: nobody reads it.
inline constexpr int DONE = 0;

/// Directions of _RW.
inline constexpr macro_word READ = 1;
inline constexpr macro_word WRITE = 2;
/// _RW of a macro that has no direction.
inline constexpr macro_word NO_DIRECTION = MACRO_ALL;

// What the primitives take.  libscdb has the same in scdb/access.hpp, of which nothing is included here: every run of a
// macro checks the one against the other.

/// Access kinds of lmcr_jtag.
inline constexpr macro_word JTAG_READ = 0;
inline constexpr macro_word JTAG_WRITE = 1;
inline constexpr macro_word JTAG_INSTRUCT = 2;

/// Modes of lmcr_scan.
inline constexpr macro_word SCAN_READ = 0;
inline constexpr macro_word SCAN_WRITE = 1;
inline constexpr macro_word SCAN_OPEN = 128;
inline constexpr macro_word SCAN_CLOSE = 129;

/// Modes of lmcr_i2cctl.
inline constexpr macro_word I2C_REGISTER = 2;
inline constexpr macro_word I2C_COMMAND = 3;

/// Count of data words: each primitive moves one.
inline constexpr macro_word ONE = 1;

/// Arguments, working variables and status-tested accessors of a macro.
///
/// Each accessor makes one primitive call and then reads the status cell: true while the run may go on.  Call and test
/// cannot be separated, and a dropped answer does not compile.  A read stores its word only when it succeeded.
struct Frame {
  const macro_word _UNIT_TYPE;
  const macro_word _UNIT_NO;
  const macro_word *const _MRING;
  const macro_word _RW;
  const macro_word *const _PARA;
  macro_word *const _DATA;
  macro_word *const _ERR;
  macro_word *const _EXP;

  int32_t _COUNT0 = 0, _COUNT1 = 0, _COUNT2 = 0, _COUNT3 = 0, _COUNT4 = 0;
  int32_t _BUFF0 = 0, _BUFF1 = 0, _BUFF2 = 0, _BUFF3 = 0, _BUFF4 = 0;
  macro_word _FLAG0 = 0, _FLAG1 = 0, _FLAG2 = 0, _FLAG3 = 0, _FLAG4 = 0;
  macro_word _WORK0 = 0, _WORK1 = 0, _WORK2 = 0, _WORK3 = 0, _WORK4 = 0;
  macro_word _WORK5 = 0, _WORK6 = 0, _WORK7 = 0, _WORK8 = 0, _WORK9 = 0;
  /// Never assigned.  Passed where a pointer is expected it is the null pointer.
  static constexpr macro_word *_DUMMY = nullptr;

  /// Whether no primitive has failed so far.
  [[nodiscard]] static bool running() { return _RETURN != MACRO_FAILED; }

  /// The macro's result: whether a chain of accessors went through to its end.
  [[nodiscard]] static int ended(bool went_on) { return went_on ? DONE : STOPPED; }

  /// JTAG: issues an instruction and writes its data register.
  [[nodiscard]] bool write(macro_word code, macro_word data) const {
    lmcr_jtag(MACRO_ALL, MACRO_ALL, MACRO_ALL, JTAG_WRITE, code, data, ONE, &_RETURN, _ERR, _UNIT_TYPE, _UNIT_NO,
              _MRING);
    return running();
  }

  /// JTAG: issues an instruction and reads its data register.
  [[nodiscard]] bool read(macro_word code, macro_word &into) const {
    const macro_word data = lmcr_jtag(MACRO_ALL, MACRO_ALL, MACRO_ALL, JTAG_READ, code, 0, ONE, &_RETURN, _ERR,
                                      _UNIT_TYPE, _UNIT_NO, _MRING);
    if (!running())
      return false;
    into = data;
    return true;
  }

  /// JTAG: issues an instruction only.
  [[nodiscard]] bool instruct(macro_word code) const {
    lmcr_jtag(MACRO_ALL, MACRO_ALL, MACRO_ALL, JTAG_INSTRUCT, code, 0, ONE, &_RETURN, _ERR, _UNIT_TYPE, _UNIT_NO,
              _MRING);
    return running();
  }

  /// Runs another macro of this unit by its test number, with this macro's error record and expected words.
  [[nodiscard]] bool call(macro_word rw, macro_word number, const macro_word *para, macro_word *data) const {
    return call(rw, number, para, data, _EXP);
  }

  /// The same with other expected words: the array macros hand on _DUMMY.
  [[nodiscard]] bool call(macro_word rw, macro_word number, const macro_word *para, macro_word *data,
                          macro_word *exp) const {
    lmcr_maccall(_UNIT_TYPE, _UNIT_NO, _MRING, rw, number, para, data, &_RETURN, _ERR, exp);
    return running();
  }

  /// Refuses a parameter: error record word 0, word 5, word 6, then the status cell, in that order.
  void refuse(macro_word subcode, macro_word value) const {
    record(subcode, value);
    _RETURN = MACRO_FAILED;
  }

  /// Refuses a parameter, with a second value in word 7.
  void refuse(macro_word subcode, macro_word value, macro_word context) const {
    record(subcode, value);
    _ERR[ERR_CONTEXT] = context;
    _RETURN = MACRO_FAILED;
  }

  /// Words 0, 5 and 6 of the error record, for a refusal that goes on to further words.
  void record(macro_word subcode, macro_word value) const {
    _ERR[ERR_CLASS] = ERR_PARAMETER;
    _ERR[ERR_SUBCODE] = subcode;
    _ERR[ERR_VALUE] = value;
  }
};

/// Runs a macro's body.  A body that is compiled once for all members of a family takes the member's record as the
/// argument of its run().
template <class Macro, auto... RECORD>
int run(macro_word _UNIT_TYPE, macro_word _UNIT_NO, const macro_word *_MRING, macro_word _RW, const macro_word *_PARA,
        macro_word *_DATA, macro_word *_ERR, macro_word *_EXP) {
  return Macro{{_UNIT_TYPE, _UNIT_NO, _MRING, _RW, _PARA, _DATA, _ERR, _EXP}}.run(RECORD...);
}

}  // namespace frame

/// Keeps the identification string of a macro, which nothing refers to, in the binary.
#define IDENTIFICATION [[gnu::used]]

/// Flattened: as a function of its own a macro's body would have its frame in memory.  Where the library is built for
/// size, its functions are shared instead.
#ifdef __OPTIMIZE_SIZE__
#define MACRO_ENTRY_ATTRIBUTES [[gnu::visibility("default")]]
#else
#define MACRO_ENTRY_ATTRIBUTES [[gnu::visibility("default"), gnu::flatten]]
#endif

/// The exported entry of a macro: MACRO_ENTRY(cp_9A10_0101, Body), or MACRO_ENTRY(cpj_A300_0101, Body, record).
#define MACRO_ENTRY(name, ...)                                                                                     \
  extern "C" MACRO_ENTRY_ATTRIBUTES int name(macro_word _UNIT_TYPE, macro_word _UNIT_NO, const macro_word *_MRING, \
                                             macro_word _RW, const macro_word *_PARA, macro_word *_DATA,           \
                                             macro_word *_ERR, macro_word *_EXP) {                                 \
    return frame::run<__VA_ARGS__>(_UNIT_TYPE, _UNIT_NO, _MRING, _RW, _PARA, _DATA, _ERR, _EXP);                   \
  }

/// The placeholder entry of a unit directory.
#define PLACEHOLDER_ENTRY(name)                              \
  extern "C" [[gnu::visibility("default")]] int name(void) { \
    return 0;                                                \
  }
