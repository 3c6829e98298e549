// The location of a record, read from its URI.
#include "zu_tovra/internal/report.hpp"
#include "zu_tovra/stack.h"

bool zu_tvr_extract_loc_id_from_uri(zu_tvr_walk_ctx *ctx, zu_do_value *value,
                                    tarvo_location *location) noexcept {
  int code = ZU_OK;
  zu_do_uri *uri = zu_do_value_get_mr_uri(value, &code);
  if (uri == nullptr || code != ZU_OK) return tvr::fail(ctx, ZU_FAILED, "Failed to get MR URI from value");
  char text[16];
  if (zu_do_uri_get_location_str(uri, text, sizeof(text)) != ZU_OK) {
    return tvr::fail(ctx, ZU_FAILED, "Failed to get location string from MR URI");
  }
  tarvo_location_from_str(text, location);
  return true;
}
