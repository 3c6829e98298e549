// What an operation writes to a stream, as a text.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <string>

namespace test {

template <class Write>
std::string stream_text(Write write) {
  char *text = nullptr;
  size_t length = 0;
  FILE *stream = open_memstream(&text, &length);
  write(stream);
  std::fclose(stream);
  const std::string copy(text, length);
  std::free(text);
  return copy;
}

} // namespace test
