/* Every public header includes this one: visibility, C linkage, the common type names. */
#ifndef ZU_TOVRA_EXPORT_H
#define ZU_TOVRA_EXPORT_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>

#include "cli_exec/cli_exec.h"
#include "zuapi/zuapi.h"

#define ZU_TVR_API __attribute__((visibility("default")))

#ifdef __cplusplus
#define ZU_TVR_NOEXCEPT noexcept
#define ZU_TVR_BEGIN extern "C" {
#define ZU_TVR_END }
#else
#define ZU_TVR_NOEXCEPT
#define ZU_TVR_BEGIN
#define ZU_TVR_END
#endif

/* The area of the allocator to which every block of the library is charged. */
#define ZU_TVR_AREA 0x2800000u

typedef struct zu_tvr_node zu_tvr_node;
typedef struct zu_tvr_tree zu_tvr_tree;
typedef struct zu_tvr_walk_ctx zu_tvr_walk_ctx;
typedef struct zu_tvr_stack zu_tvr_stack;
typedef struct zu_tvr_uri zu_tvr_uri;
typedef struct zu_tvr_props_map zu_tvr_props_map;
typedef struct zu_tvr_cond_args zu_tvr_cond_args;

/* The results that the operations of data nodes and print nodes give to the walk engine. */
enum {
  ZU_TVR_STEP_FAILED = -1, /* a failure that has been reported */
  ZU_TVR_STEP_NOTHING = 0, /* nothing to walk, no failure */
  ZU_TVR_STEP_WALK = 1     /* records are in scope: walk the children */
};

#endif
