/* The data of a jump node, which enters a CLI submode. Made while templates are loaded and only read
 * afterwards, by any number of renders. */
#ifndef ZU_TOVRA_JUMP_H
#define ZU_TOVRA_JUMP_H

#include "zu_tovra/node.h"

ZU_TVR_BEGIN

typedef struct zu_tvr_jump_data zu_tvr_jump_data;
struct zu_tvr_jump_data {
  char *dest_id;     /* owned; also names the submode in its tags */
  zu_tvr_node *dest; /* borrowed from the tree; null before its links are resolved, or without such a node */
  /* Walks the destination one level deeper, between submode tags if the render
   * asks for them. The result is that of the destination's walk; false (reported)
   * when there is no destination, or when it is already being walked. */
  bool (*walk)(zu_tvr_jump_data *data, zu_tvr_walk_ctx *ctx);
};

/* A new record with a copy of the id, which must be given; or null (traced). */
ZU_TVR_API zu_tvr_jump_data *zu_tvr_jump_data_new(const char *dest_id) ZU_TVR_NOEXCEPT;
ZU_TVR_API void zu_tvr_jump_data_delete(zu_tvr_jump_data *data) ZU_TVR_NOEXCEPT; /* null is ignored */

ZU_TVR_END

#endif
