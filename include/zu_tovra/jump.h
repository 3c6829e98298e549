/* The data of a jump node, which enters a CLI submode. */
#ifndef ZU_TOVRA_JUMP_H
#define ZU_TOVRA_JUMP_H

#include "zu_tovra/node.h"

ZU_TVR_BEGIN

typedef struct zu_tvr_jump_data zu_tvr_jump_data;
struct zu_tvr_jump_data {
  char *dest_id;     /* owned; also names the submode in its tags */
  zu_tvr_node *dest; /* borrowed from the tree; none until the tree resolves its links */
  /* Walks the destination one level deeper, between submode tags when asked: its walk result. */
  bool (*walk)(zu_tvr_jump_data *data, zu_tvr_walk_ctx *ctx);
};

/* A new record with a copy of the id, or none (traced). */
ZU_TVR_API zu_tvr_jump_data *zu_tvr_jump_data_new(const char *dest_id) ZU_TVR_NOEXCEPT;
ZU_TVR_API void zu_tvr_jump_data_delete(zu_tvr_jump_data *data) ZU_TVR_NOEXCEPT; /* none is ignored */

ZU_TVR_END

#endif
