#pragma once

#include "mac/register_file.hpp"

namespace mac {

/// Runs a macro of a single group for group 1, then for group 2, as _PARA[0] selects them, until one of them has a
/// finding.
///
/// Traits: NUMBER, the macro called; accepts(para), whether it takes _PARA[0]; common(para), what goes into the called
/// macro's parameter beside the group.
template <class Traits>
struct BothGroups : RegisterFile {
  int run() {
    if (!Traits::accepts(_PARA[0]))
      return refuse_selector();
    for (const Group &group : GROUPS) {
      if ((_PARA[0] & group.selector) == 0)
        continue;
      const macro_word _TEMP = group.selector | Traits::common(_PARA[0]);
      if (!nest(frame::NO_DIRECTION, Traits::NUMBER, &_TEMP, _DATA))
        return status();
      if (found())
        return frame::DONE;
    }
    return frame::DONE;
  }
};

/// Macros that need no more than the groups.
template <macro_word CALLED>
struct GroupsOnly {
  static constexpr macro_word NUMBER = CALLED;
  [[nodiscard]] static constexpr bool accepts(macro_word para) { return para >= GROUP_1 && para <= GROUP_FIELD; }
  [[nodiscard]] static constexpr macro_word common(macro_word /*para*/) { return 0; }
};

}  // namespace mac
