// The shortcuts that the platform offers: calls that do in one step what takes several plain calls, for the
// steps that are taken for every value or record. A platform need not have them: an absent shortcut is null,
// and the plain calls are used. Shortcuts that are called for each value are never null, to save the
// comparison: an absent one gets a function that returns null, which means that the plain call must be used.
#pragma once

#include "zuapi/shortcuts.h"

namespace tvr {

inline zu_do_shortcuts offered_shortcuts() noexcept {
  const zu_do_shortcuts *table = zu_do_get_shortcuts != nullptr ? zu_do_get_shortcuts() : nullptr;
  zu_do_shortcuts offered = table != nullptr ? *table : zu_do_shortcuts{};
  // Some shortcuts only work together: if one is absent, the group is not used.
  if (offered.find_position == nullptr || offered.read_at == nullptr) {
    offered.read_at = [](zu_do_properties *, const void *, const int32_t *, uint32_t, zu_do_value_facts *) {
      return static_cast<const void *>(nullptr);
    };
  }
  if (offered.display == nullptr) {
    offered.display = [](zu_do_value *, char *, size_t *) { return static_cast<const char *>(nullptr); };
  }
  if (offered.key_form == nullptr) {
    offered.key_form = [](zu_do_value *, char *, size_t, size_t *) {
      return static_cast<const char *>(nullptr);
    };
  }
  if (offered.fill == nullptr || offered.set_at == nullptr || offered.set_int_at == nullptr) {
    offered.new_positions = nullptr;
  }
  return offered;
}

inline const zu_do_shortcuts shortcuts = offered_shortcuts();

} // namespace tvr
