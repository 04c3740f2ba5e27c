#include <algorithm>

#include "scdb/primitives/perform.hpp"
#include "scdb/rings/ring.hpp"

namespace scdb {
namespace {

/// The kept contents of a ring, or where they would be.
std::vector<KeptRing>::iterator find_kept(const OpenRing &where) {
  return std::ranges::lower_bound(context.kept, where, {}, &KeptRing::where);
}

bool is_open(const OpenRing &where) {
  const auto at = find_kept(where);
  return at != context.kept.end() && at->where == where;
}

/// Keeps each chip's own contents.  A ring that a failed run left open is opened anew: what counts is what the ring
/// holds now.  `words` receives the OR of all chips.
Outcome open(Machine &server, const ChipList &chips, unsigned ring, std::span<macro_word> words) {
  std::vector<KeptRing> fresh;
  fresh.reserve(chips.size());
  for (const Chip &chip : chips) {
    KeptRing &kept = fresh.emplace_back(KeptRing{{chip, ring}, std::vector<macro_word>(words.size())});
    if (const Outcome outcome = server.read_ring({&chip, 1}, ring, kept.words); !outcome.ok())
      return outcome;
  }
  std::ranges::copy(fresh.front().words, words.begin());
  for (const KeptRing &kept : std::span(fresh).subspan(1))
    std::ranges::transform(words, kept.words, words.begin(), std::bit_or{});
  for (KeptRing &kept : fresh) {
    const auto at = find_kept(kept.where);
    if (at != context.kept.end() && at->where == kept.where)
      at->words = std::move(kept.words);
    else
      context.kept.insert(at, std::move(kept));
  }
  return Outcome::success();
}

/// Puts each chip's kept contents back.
Outcome close(Machine &server, const ChipList &chips, unsigned ring) {
  for (const Chip &chip : chips)
    if (!is_open({chip, ring}))
      return Outcome::failure(Reason::ring_not_open, chip);
  for (const Chip &chip : chips) {
    const auto at = find_kept({chip, ring});
    if (const Outcome outcome = server.write_ring({&chip, 1}, ring, at->words); !outcome.ok())
      return outcome;
    context.kept.erase(at);
  }
  return Outcome::success();
}

Outcome scan(macro_word mode, const Triple &triple, macro_word ring, macro_word *buffer, macro_word count,
             const Unit &unit) {
  if (mode != SCAN_READ && mode != SCAN_WRITE && mode != SCAN_OPEN && mode != SCAN_CLOSE)
    return Outcome::failure(Reason::bad_kind);
  if (ring > LAST_CODE)
    return Outcome::failure(Reason::bad_code);
  if (count != 1)
    return Outcome::failure(Reason::bad_count);
  if (buffer == nullptr)
    return Outcome::failure(Reason::null_pointer);

  Machine &server = machine();
  ChipList chips;
  if (const Outcome outcome = resolve(server, unit, triple, chips); !outcome.ok())
    return outcome;
  const Chip first = *chips.begin();
  const std::size_t bits = server.ring_bits(first, ring);
  if (bits == 0)
    return Outcome::failure(Reason::no_ring, first);
  if (bits > SCANBUFFER_BITS)
    return Outcome::failure(Reason::ring_too_long, first);

  const std::span<macro_word> words{buffer, words_for(bits)};
  if (mode != SCAN_CLOSE)
    touch(words, mode != SCAN_WRITE);
  switch (mode) {
    case SCAN_READ:
      return server.read_ring(chips.span(), ring, words);
    case SCAN_WRITE:
      return server.write_ring(chips.span(), ring, words);
    case SCAN_OPEN:
      return open(server, chips, ring, words);
    default:
      return close(server, chips, ring);
  }
}

}  // namespace
}  // namespace scdb

using namespace scdb;

macro_word lmcr_scan(macro_word mode, macro_word t0, macro_word t1, macro_word t2, macro_word ring, macro_word *buffer,
                     macro_word count, macro_word *ret, macro_word *err, macro_word unit_type, macro_word unit_no,
                     const macro_word *mring) {
  const Unit unit{unit_type, unit_no, mring};
  const CallResult result = perform(
      Primitive::scan, {ret, err, ring},
      [&] {
        return operands<6>({{{"mode", mode}, {"t0", t0}, {"t1", t1}, {"t2", t2}, {"ring", ring}, {"count", count}}},
                           &unit);
      },
      [&](macro_word & /*value*/) {
        return scan(mode, {t0, t1, t2}, ring, buffer, count, unit);
      });
  return result.value;
}
