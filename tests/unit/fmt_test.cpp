// Template files written one way. That a formatted file loads to the same nodes is held by the fuzz target.
#include <gtest/gtest.h>

#include "tools/tovra/fmt/format.hpp"

namespace {

TEST(fmt, writes_one_way) {
  struct {
    const char *given, *made;
  } cases[] = {
      {"", ""},
      {" \n\n", "\n"},
      // Keywords of a record in one order; what is carried over to the next record stays in its own.
      {"Newline:\nCmd: a\nNewline:\nCond: x\nProps: /a x:0\nFmt: %s\nCmd: b\nDest: m\nOp: push_mode\nParent "
       "Cmd: a\n",
       "Newline:\n\nCmd: a\nNewline:\nCond: x\nProps: /a x:0\nFmt: %s\n\nCmd: b\nParent Cmd: a\nOp: "
       "push_mode\n"
       "Dest: m\n"},
      {"Cmd: a\nNewline:\nCond: x\nFmt: %s\nValueMap: 0 a b\nProps: /b x:0\nProps: /a y:1\nOp: print_if\n",
       "Cmd: a\nOp: print_if\nFmt: %s\nValueMap: 0 a b\nProps: /b x:0\nProps: /a y:1\nCond: x\nNewline:\n"},
      {"Cmd: a\nGroup:\nLocationScheme: S\nOrderby: b\nQuery: a=$a\nOrderby: a\nUri: /a?b\nUri: /a?c\n",
       "Cmd: a\nUri: /a?b\nUri: /a?c\nQuery: a=$a\nOrderby: b\nOrderby: a\nGroup:\nLocationScheme: S\n"},
      // Blanks, as far as they mean nothing.
      {"\t Cmd:a \r\n  Fmt: \n Fmt:\n Fmt:  a  b \n Op:\n Op: \n",
       "Cmd: a\nOp: no_op\nOp: no_op\nFmt: %s\nFmt:\nFmt: a  b\n"},
      {"Cmd:\nParent Cmd: \nNewline: \nGroup: why \n", "Cmd:\nParent Cmd:\nGroup: why\nNewline:\n"},
      {"Cmd: a\nCond:  (eq  1 2) \nLocationScheme:S \nUri:/a \nQuery:\ta= $a \nOrderby:  b \n",
       "Cmd: a\nUri: /a \nQuery: a= $a \nOrderby: b \nLocationScheme:S \nCond:  (eq  1 2) \n"},
      {"Cmd: a\nProps:/a   x:0:\"a  b\"   y:1 \nLocation: /a   l:S   :2\nValueMap:\t0  a\tb\n",
       "Cmd: a\nProps: /a x:0:\"a  b\" y:1\nLocation: /a l:S :2\nValueMap: 0 a b\n"},
      {"Cmd: a\nProps:  /a  x  y:0 \nProps:  /a  x:0\ty:1\nProps: /a\"b  \"c:0\n",
       "Cmd: a\nProps: /a  x  y:0 \nProps: /a  x:0\ty:1\nProps: /a\"b  \"c:0\n"},
      // Comments stay above their lines, empty lines part records and comments.
      {"\n# a file\n\n\n# more\nTvrLangVersion:1\n# of a\nCmd: a\n\n # of uri \n\nUri: /a\n# of "
       "op\n\nmisspelt: x\nOp: get_one\n"
       "# of b\nCmd: b\n\n\n\n# of nothing\n\n\nCmd: c\n# last\n\n# very last\n\n",
       "# a file\n\n# more\nTvrLangVersion: 1\n\n# of a\nCmd: a\n# of op\nmisspelt: x\nOp: get_one\n# of "
       "uri\nUri: /a\n\n"
       "# of b\nCmd: b\n\n# of nothing\n\nCmd: c\n# last\n\n# very last\n"},
      {"Cmd: a\n# still of a\n\nCmd: b\n\n# end", "Cmd: a\n# still of a\n\nCmd: b\n\n# end\n"},
  };
  for (const auto &one : cases) {
    EXPECT_EQ(tovra::fmt::formatted(one.given), one.made);
    EXPECT_EQ(tovra::fmt::formatted(one.made), one.made);
  }
}

} // namespace
