// Reads the parameters of requests.
#include "params.hpp"

namespace tovra::lsp {

static size_t number_in(const json &of, const char *name) {
  const json &number = of.at(name);
  if (!number.is_number_unsigned()) throw refusal(invalid_params, std::string(name) + " is no number from 0");
  return number.get<size_t>();
}

position position_in(const json &at) {
  return {number_in(at, "line"), number_in(at, "character")};
}

std::string uri_in(const json &params) {
  return params.at("textDocument").at("uri").get<std::string>();
}

std::string path_in(const json &params) {
  const std::string uri = uri_in(params);
  const auto path = path_of_uri(uri);
  if (!path) throw refusal(invalid_params, uri + " is no file");
  return *path;
}

std::optional<int64_t> version_in(const json &document) {
  const auto found = document.find("version");
  if (found == document.end() || !found->is_number_integer()) return std::nullopt;
  return found->get<int64_t>();
}

} // namespace tovra::lsp
