/* The data of an iteration node, which walks the records of the group on top, in location order. */
#ifndef ZU_TOVRA_ITER_H
#define ZU_TOVRA_ITER_H

#include "zu_tovra/export.h"

ZU_TVR_BEGIN

/* Of one walk: the group being iterated. */
typedef struct zu_tvr_iter_scratch_data {
  zu_do_properties_list *list; /* one reference, sorted by location; none while nothing is iterated */
  zu_do_iter *iter;            /* over the list; none likewise */
  int32_t pushed;              /* entries that the last step pushed */
} zu_tvr_iter_scratch_data;

typedef struct zu_tvr_iter_data {
  /* Pushes the next record: ZU_TVR_STEP_*. */
  int32_t (*next)(zu_tvr_iter_scratch_data *scratch, zu_tvr_walk_ctx *ctx);
  void (*pop)(zu_tvr_iter_scratch_data *scratch, zu_tvr_walk_ctx *ctx); /* pops what next pushed */
  void (*cleanup)(zu_tvr_iter_scratch_data *scratch);                   /* ends the iteration */
} zu_tvr_iter_data;

/* The scheme must be given; it is not kept. None (traced) on failure. */
ZU_TVR_API zu_tvr_iter_data *zu_tvr_iter_data_new(const char *location_scheme) ZU_TVR_NOEXCEPT;
ZU_TVR_API void zu_tvr_iter_data_delete(zu_tvr_iter_data *data) ZU_TVR_NOEXCEPT; /* none is ignored */
ZU_TVR_API zu_tvr_iter_scratch_data *zu_tvr_iter_scratch_data_new(void) ZU_TVR_NOEXCEPT;
ZU_TVR_API void zu_tvr_iter_scratch_data_delete(zu_tvr_iter_scratch_data *scratch) ZU_TVR_NOEXCEPT;

ZU_TVR_END

#endif
