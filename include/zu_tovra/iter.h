/* The data of an iteration node, which walks its children once for each record of the innermost group, in the
 * order of the records' locations. Made while templates are loaded and only read afterwards. */
#ifndef ZU_TOVRA_ITER_H
#define ZU_TOVRA_ITER_H

#include "zu_tovra/export.h"

ZU_TVR_BEGIN

/* Of one walk and its thread: the group being iterated. */
typedef struct zu_tvr_iter_scratch_data {
  zu_do_properties_list *list; /* one reference, sorted by location; null while nothing is iterated */
  zu_do_iter *iter;            /* owned, over the list; null while nothing is iterated */
  int32_t pushed;              /* entries that the last step pushed; 0: nothing to pop */
} zu_tvr_iter_scratch_data;

typedef struct zu_tvr_iter_data {
  /* Pushes the next record on the records cache: a ZU_TVR_STEP_*; NOTHING after the last one. */
  int32_t (*next)(zu_tvr_iter_scratch_data *scratch, zu_tvr_walk_ctx *ctx);
  void (*pop)(zu_tvr_iter_scratch_data *scratch, zu_tvr_walk_ctx *ctx); /* pops what next pushed */
  void (*cleanup)(zu_tvr_iter_scratch_data *scratch);                   /* ends the iteration */
} zu_tvr_iter_data;

/* The scheme must be given; it is not kept. Null (traced) on failure. */
ZU_TVR_API zu_tvr_iter_data *zu_tvr_iter_data_new(const char *location_scheme) ZU_TVR_NOEXCEPT;
ZU_TVR_API void zu_tvr_iter_data_delete(zu_tvr_iter_data *data) ZU_TVR_NOEXCEPT; /* null is ignored */
/* New scratch data for one walk; null (traced) on failure. The second frees it; null is ignored. It does not
 * release list and iterator: cleanup does, at the end of each iteration. */
ZU_TVR_API zu_tvr_iter_scratch_data *zu_tvr_iter_scratch_data_new(void) ZU_TVR_NOEXCEPT;
ZU_TVR_API void zu_tvr_iter_scratch_data_delete(zu_tvr_iter_scratch_data *scratch) ZU_TVR_NOEXCEPT;

ZU_TVR_END

#endif
