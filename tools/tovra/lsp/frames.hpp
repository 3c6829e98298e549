// Cutting a stream of bytes into messages: header lines, an empty line, and as many bytes as they say.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace tovra::lsp {

// A client that says more is answered with an error, and the bytes are left out, not kept.
inline constexpr uint64_t longest_message = uint64_t{64} << 20;

enum class frame_kind {
  none,     // more bytes are needed
  message,  // whole
  too_long, // left out
  broken    // no header of the protocol: where the next message begins is not known
};

class frame_reader {
public:
  void feed(std::string_view bytes) { bytes_.append(bytes); }
  // The next message, once it is there.
  frame_kind next(std::string &message);

private:
  enum class place { header, body, left_out };

  frame_kind read_header();
  frame_kind leave_out();

  std::string bytes_;
  uint64_t wanted_ = 0; // of the message
  place at_ = place::header;
};

// A message as it is sent.
std::string framed(std::string_view message);

} // namespace tovra::lsp
