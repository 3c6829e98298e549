// Splits a stream of bytes into messages: header lines, an empty line, and as many bytes as the header says.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace tovra::lsp {

// A longer message is answered with an error, and its bytes are skipped, so that they need no memory.
inline constexpr uint64_t longest_message = uint64_t{64} << 20;

enum class frame_kind {
  none,     // more bytes are needed
  message,  // a whole message
  too_long, // a message that was skipped
  broken    // no header of the protocol: the start of the next message is not known
};

class frame_reader {
public:
  void feed(std::string_view bytes) { bytes_.append(bytes); }
  // Gives the next message, if all of it has come.
  frame_kind next(std::string &message);

private:
  enum class place { header, body, left_out };

  frame_kind read_header();
  frame_kind leave_out();

  std::string bytes_;
  uint64_t wanted_ = 0; // length of the message
  place at_ = place::header;
};

// The message with its header, as it is sent.
std::string framed(std::string_view message);

} // namespace tovra::lsp
