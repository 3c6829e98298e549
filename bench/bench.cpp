// Measures renders through the exported functions, inside one process. tovra_bench --templates DIR --data
// FILE --reps R [--out FILE] [--count] loads, renders once (writing to FILE what `tovra render` prints), then
// renders R times; prints `load_ns T` and `render_ns T1 T2 ...`. With --count it renders once more to count
// allocated blocks, walked print nodes and records read.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "measure.hpp"
#include "qmalloc/qmalloc.h"
#include "qtrace/qtrace.h"
#include "store/store.h"
#include "text.hpp"
#include "zu_tovra/zu_tovra.h"

namespace {

struct request {
  zu_tovra_context context = {}; // first: the library's context leads back here
  bench::text text;
  bool errors = false;
};

bool take_text(zu_tovra_context *context, zu_cli_context *, const char *text) {
  reinterpret_cast<request *>(context)->text.add(text);
  return true;
}

void take_error(void *context, int32_t code, const char *message) {
  static_cast<request *>(context)->errors = true;
  std::fprintf(stderr, "error %d: %s\n", code, message);
}

bool render(zu_cli_context *cli, request &made, zu_do_properties *arguments) {
  made.text.clear();
  made.context.cleanup_ctx = nullptr;
  made.context.cleanup_fn = nullptr;
  const bool rendered =
      render_tovra_config_func(cli, &made.context, 2, nullptr, nullptr, arguments, arguments);
  if (made.context.cleanup_fn != nullptr) made.context.cleanup_fn(&made.context);
  return rendered && !made.errors;
}

bool write(const std::string &path, std::string_view text) {
  std::FILE *file = std::fopen(path.c_str(), "w");
  if (file == nullptr) return std::perror(path.c_str()), false;
  if (text.starts_with('\n')) text.remove_prefix(1);
  std::fwrite(text.data(), 1, text.size(), file);
  if (!text.empty()) std::fputc('\n', file);
  return std::fclose(file) == 0;
}

int64_t blocks() {
  return qmalloc_count(ZU_TVR_AREA).total_blocks + qmalloc_count(ZU_DO_AREA).total_blocks;
}

// The trace has this message once for every print node that is walked.
void take_trace(void *context, int, const char *message) {
  const std::string_view said = message;
  if (said.find("print node: attempting to render \"") != said.npos ||
      said.find("print node: rendering without any properties") != said.npos)
    ++*static_cast<long *>(context);
}

bool count(zu_data_ifc *data, zu_cli_context *cli, request &made, zu_do_properties *arguments) {
  const int64_t before = blocks();
  if (!render(cli, made, arguments)) return false;
  std::printf("blocks %ld\n", blocks() - before);

  long print_nodes = 0;
  constexpr int information = 6;
  qtrace_set_sink(take_trace, &print_nodes);
  qtrace_set_level(information);
  bool good = render(cli, made, arguments);
  qtrace_set_level(0);
  std::printf("print_nodes %ld\n", print_nodes);

  zu_store_wrapper *wrapper = zu_store_wrapper_new(data);
  zu_cli_context *wrapped = zu_cli_context_new(zu_store_wrapper_ifc(wrapper), take_error, &made);
  good = good && render(wrapped, made, arguments);
  std::printf("records %lu\n", zu_store_wrapper_rows(wrapper) + zu_store_wrapper_calls(wrapper, ZU_CALL_GET));
  zu_cli_context_free(wrapped);
  zu_store_wrapper_free(wrapper);
  return good;
}

} // namespace

int main(int argc, char **argv) {
  std::string templates, data_file, out;
  uint32_t reps = 0;
  bool counting = false;
  CLI::App app("Measures renders in process.", "tovra_bench");
  app.add_option("--templates", templates)->required();
  app.add_option("--data", data_file)->required();
  app.add_option("--reps", reps)->required();
  app.add_option("--out", out);
  app.add_flag("--count", counting);
  CLI11_PARSE(app, argc, argv);
  setenv("ZU_TVR_DIR", templates.c_str(), 1);

  if (!zu_tovra_init() || zu_tovra_trace_init() != 0) return 1;
  long long start = bench::nanoseconds();
  zu_do_error *error = nullptr;
  zu_data_ifc *data = zu_store_load_file(data_file.c_str(), &error);
  if (data == nullptr) return std::fprintf(stderr, "%s\n", zu_do_error_get_msg(error)), 1;
  std::printf("load_ns %lld\n", bench::nanoseconds() - start);

  request made;
  made.context.output_fn = take_text;
  zu_cli_context *cli = zu_cli_context_new(data, take_error, &made);
  zu_do_properties *arguments = zu_do_properties_new();
  bool good = render(cli, made, arguments) && (out.empty() || write(out, made.text.view()));
  std::printf("render_ns");
  for (; good && reps > 0; --reps) {
    start = bench::nanoseconds();
    good = render(cli, made, arguments);
    std::printf(" %lld", bench::nanoseconds() - start);
  }
  std::printf("\npeak_kib %ld\n", bench::peak_kib());
  good = good && (!counting || count(data, cli, made, arguments));
  zu_do_properties_deref(arguments);
  zu_cli_context_free(cli);
  data->ops->free(data);
  zu_tovra_stop();
  return good ? 0 : 1;
}
