// Reads the parameters of requests. Wrong parameters are answered with an error.
#pragma once

#include <stdexcept>

#include "json.hpp"

namespace tovra::lsp {

enum error_code {
  parse_error = -32700,
  invalid_request = -32600,
  method_not_found = -32601,
  invalid_params = -32602,
  not_initialized = -32002,
  request_canceled = -32800,
  content_modified = -32801,
  request_failed = -32803
};

// Thrown to answer a request with an error.
struct refusal : std::runtime_error {
  refusal(error_code why, const std::string &message) : std::runtime_error(message), code(why) {}
  error_code code;
};

position position_in(const json &at);
std::string uri_in(const json &params); // of the document
std::string path_in(const json &params);
std::optional<int64_t> version_in(const json &document);

} // namespace tovra::lsp
