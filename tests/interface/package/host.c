/* The smallest host: renders over an empty store and prints what comes. */
#include <store/store.h>
#include <string.h>
#include <zu_tovra/zu_tovra.h>

static bool print(zu_tovra_context *context, zu_cli_context *cli, const char *text) {
  (void)context;
  (void)cli;
  return fputs(text[0] == '\n' ? text + 1 : text, stdout) >= 0;
}

int main(void) {
  char headers[32];
  snprintf(headers, sizeof headers, "%d.%d.%d", ZU_TVR_VERSION_MAJOR, ZU_TVR_VERSION_MINOR,
           ZU_TVR_VERSION_PATCH);
  if (strcmp(headers, zu_tvr_version()) != 0) return 1;
  static const char empty[] = "{\"records\": {}}";
  if (!zu_tovra_init() || zu_tovra_trace_init() != 0) return 1;
  zu_data_ifc *data = zu_store_load_text("empty", empty, sizeof empty - 1, NULL);
  zu_cli_context *cli = zu_cli_context_new(data, NULL, NULL);
  zu_do_properties *arguments = zu_do_properties_new();
  zu_tovra_context context = {.output_fn = print};
  const bool rendered = render_tovra_config_func(cli, &context, 1, NULL, NULL, arguments, arguments);
  if (context.cleanup_fn != NULL) context.cleanup_fn(&context);
  zu_do_properties_deref(arguments);
  zu_cli_context_free(cli);
  data->ops->free(data);
  return rendered && zu_tovra_stop() ? 0 : 1;
}
