#include "scdb/primitives/perform.hpp"

namespace scdb {
namespace {

/// One JTAG instruction on all chips that unit words and triple designate.
Outcome access(macro_word kind, macro_word code, macro_word count, const Unit &unit, const Triple &triple,
               macro_word &word) {
  if (kind > static_cast<macro_word>(JtagAccess::instruct))
    return Outcome::failure(Reason::bad_kind);
  if (code > LAST_CODE)
    return Outcome::failure(Reason::bad_code);
  if (count != 1)
    return Outcome::failure(Reason::bad_count);
  Machine &server = machine();
  ChipList chips;
  if (const Outcome outcome = resolve(server, unit, triple, chips); !outcome.ok())
    return outcome;
  return server.jtag(chips.span(), static_cast<JtagAccess>(kind), code, word);
}

}  // namespace
}  // namespace scdb

using namespace scdb;

macro_word lmcr_jtag(macro_word t0, macro_word t1, macro_word t2, macro_word kind, macro_word code, macro_word data,
                     macro_word count, macro_word *ret, macro_word *err, macro_word unit_type, macro_word unit_no,
                     const macro_word *mring) {
  const Unit unit{unit_type, unit_no, mring};
  const CallResult result = perform(
      Primitive::jtag, {ret, err, code},
      [&] {
        return operands<7>(
            {{{"t0", t0}, {"t1", t1}, {"t2", t2}, {"kind", kind}, {"code", code}, {"data", data}, {"count", count}}},
            &unit);
      },
      [&](macro_word &value) {
        const bool reads = kind == static_cast<macro_word>(JtagAccess::read);
        macro_word word = reads ? 0 : data;
        const Outcome outcome = access(kind, code, count, unit, {t0, t1, t2}, word);
        value = reads ? word : 0;
        return outcome;
      });
  return result.value;
}

macro_word lmcr_mjtag(macro_word t0, macro_word t1, macro_word t2, macro_word code, macro_word data, macro_word count,
                      macro_word *ret, macro_word *err, macro_word unit_type, macro_word unit_no,
                      const macro_word *mring, macro_word one) {
  const Unit unit{unit_type, unit_no, mring};
  const CallResult result = perform(
      Primitive::mjtag, {ret, err, code},
      [&] {
        return operands<7>(
            {{{"t0", t0}, {"t1", t1}, {"t2", t2}, {"code", code}, {"data", data}, {"count", count}, {"one", one}}},
            &unit);
      },
      [&](macro_word & /*value*/) {
        if (one != 1)
          return Outcome::failure(Reason::bad_trailer);
        macro_word word = data;
        return access(static_cast<macro_word>(JtagAccess::write), code, count, unit, {t0, t1, t2}, word);
      });
  return result.value;
}
