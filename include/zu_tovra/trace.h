/* The library's registration with the trace service, and two hooks that a host may set. The library stores
 * the hooks but does not call them. Set before the first render: there is no lock. */
#ifndef ZU_TOVRA_TRACE_H
#define ZU_TOVRA_TRACE_H

#include "zu_tovra/export.h"

ZU_TVR_BEGIN

typedef void (*zu_tvr_trace_msg_fn)(void);
typedef int (*zu_tvr_trace_test_fn)(void);

extern ZU_TVR_API uint16_t g_zu_tovra_trace_module_id;    /* given by the trace service */
extern ZU_TVR_API zu_tvr_trace_msg_fn zu_tvr_trace_msg;   /* by default does nothing */
extern ZU_TVR_API zu_tvr_trace_test_fn zu_tvr_trace_test; /* by default gives 1 */

/* Registers the trace module: the trace service's result, 0 on success. */
ZU_TVR_API int zu_tovra_trace_init(void) ZU_TVR_NOEXCEPT;
/* Stores the hook and registers the trace module, as zu_tovra_trace_init. */
ZU_TVR_API int register_libzu_tvr_trace(zu_tvr_trace_msg_fn hook) ZU_TVR_NOEXCEPT;
/* Stores the hook; the address of zu_tvr_trace_test. */
ZU_TVR_API zu_tvr_trace_test_fn *register_libzu_tvr_trace_test(zu_tvr_trace_test_fn hook) ZU_TVR_NOEXCEPT;

ZU_TVR_END

#endif
