// The record of a render request, and the callbacks through
// which its walk reports failures and hands out text.
#pragma once

#include "zu_tovra/entry.h"
#include "zu_tovra/internal/own.hpp"
#include "zu_tovra/walk_ctx.h"

namespace tvr {

extern "C" {
// The walk's callbacks; `context` is the request's external_ctx.
int tovra_report_error(void *context, int32_t code, const char *err_msg) noexcept;
bool tovra_send_output(void *context, const char *output_text) noexcept;
}

// Frees a request's record with the data interface of a named configuration, but not what its walk holds.
void request_delete(external_ctx *request) noexcept;

using request_handle = unique<external_ctx, request_delete>;
using condition_arguments = unique<zu_tvr_cond_args, zu_tvr_cond_args_delete>;

} // namespace tvr
