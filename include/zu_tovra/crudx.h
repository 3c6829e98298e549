/* The data of a get-one node, which reads one record and walks its children with that record in scope. Made
 * while templates are loaded and only read afterwards, by any number of renders. */
#ifndef ZU_TOVRA_CRUDX_H
#define ZU_TOVRA_CRUDX_H

#include "zu_tovra/uri.h"

ZU_TVR_BEGIN

typedef struct zu_tvr_crudx_data zu_tvr_crudx_data;
struct zu_tvr_crudx_data {
  zu_tvr_uri *uri; /* owned */
  /* Reads the record and pushes it on the records cache: a ZU_TVR_STEP_*. NOTHING when there is no such
   * record; after WALK the caller pops it when the children are done. */
  int32_t (*walk)(zu_tvr_crudx_data *data, zu_tvr_walk_ctx *ctx);
};

/* Takes the URI template over (it must be given); on failure (null, traced) it is still the caller's. */
ZU_TVR_API zu_tvr_crudx_data *zu_tvr_crudx_data_new(zu_tvr_uri *uri) ZU_TVR_NOEXCEPT;
ZU_TVR_API void zu_tvr_crudx_data_delete(zu_tvr_crudx_data *data) ZU_TVR_NOEXCEPT; /* null is ignored */
/* Writes a dump at `indentation` tabs. */
ZU_TVR_API void zu_tvr_crudx_data_print(FILE *stream, uint32_t indentation,
                                        zu_tvr_crudx_data *data) ZU_TVR_NOEXCEPT;

ZU_TVR_END

#endif
