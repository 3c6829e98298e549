/* Decides when a whole collection is fetched for caching, and under which URI.
 *
 * Under a list, the same node runs once for each instance of the list. One
 * request for each of these runs would be slow; so the first run fetches
 * the instances under all parents, and the others wait in the walk context.
 *
 * The functions have no state; failures are reported through the walk context. */
#ifndef ZU_TOVRA_COLL_URI_H
#define ZU_TOVRA_COLL_URI_H

#include "infra/infra.h"
#include "zu_tovra/export.h"

ZU_TVR_BEGIN

/* True when, in relative form, a segment after the first carries keys: then the URI is below a list. False
 * also on failure (reported when there is a context; both should be given). */
ZU_TVR_API bool uri_is_under_ref_many_subtree(zu_tvr_walk_ctx *ctx, zu_do_uri *uri) ZU_TVR_NOEXCEPT;
/* The URI of the collection that holds an instance (must be given); a new reference, or null (reported). */
ZU_TVR_API zu_do_uri *generate_coll_uri_from_mr_uri(zu_tvr_walk_ctx *ctx, zu_do_uri *uri) ZU_TVR_NOEXCEPT;
/* True when the table (mr_cache_cursor) has no entry for the URI. Both must be given. */
ZU_TVR_API bool need_to_request_collection(ht_table *mr_cache_cursor, zu_do_uri *uri) ZU_TVR_NOEXCEPT;

ZU_TVR_END

#endif
