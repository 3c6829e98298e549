// The data record of print nodes and their scratch data: making, deleting, dumping.
#include "print_job.hpp"
#include "zu_tovra/internal/report.hpp"

using print_data = tvr::unique<zu_tvr_print_data, zu_tvr_print_data_delete>;

zu_tvr_print_data *zu_tvr_print_data_new(const char *format, zu_tvr_props_map *props_map, uint8_t newline,
                                         const char *cond, zu_do_properties *eval_props) noexcept {
  TVR_ASSERT(format);
  print_data data(tvr::make_zeroed<zu_tvr_print_data>().release());
  if (data) {
    data->format = tvr::copy_text(format).release();
    if (cond != nullptr) data->cond = tvr::copy_text(cond).release();
    data->eval_props = tvr::share_into_field(eval_props);
    data->newline = newline;
    data->walk = tvr::walk_print;
    data->props_map = props_map;
    const bool copied = data->format != nullptr && (cond == nullptr || data->cond != nullptr);
    if (copied) data->plan = tvr::plan_line(data.get()).release();
  }
  if (!data || data->plan == nullptr) {
    TVR_ERROR("Failed to allocate tovra node");
    if (data) data->props_map = nullptr; // still the caller's
    return nullptr;
  }
  if (cond != nullptr) tvr::make_condition(data.get());
  return data.release();
}

void zu_tvr_print_data_delete(zu_tvr_print_data *data) noexcept {
  const tvr::block<zu_tvr_print_data> owner(data);
  if (!owner) return;
  const tvr::owned<zu_tvr_line_plan> plan(data->plan);
  const tvr::text format(data->format);
  const tvr::text cond(data->cond);
  zu_tvr_props_map_delete(data->props_map);
  zu_cli_cmd_op_free(data->cond_op);
  tvr::drop_field(data->eval_props);
}

void zu_tvr_print_data_print(FILE *stream, uint32_t indentation, zu_tvr_print_data *data) noexcept {
  TVR_ASSERT(data);
  const tvr::string_buffer buffer(zu_do_strbuf_new());
  if (!buffer) {
    TVR_ERROR("Failed to allocate buffer");
    return;
  }
  zu_do_strbuf_add_tab(buffer.get(), indentation);
  zu_do_strbuf_add_string(buffer.get(), data->format);
  zu_do_strbuf_add_char(buffer.get(), '\n');
  zu_do_strbuf_add_tab(buffer.get(), indentation);
  zu_do_strbuf_add_string(buffer.get(), "Newline: ");
  zu_do_strbuf_add_long(buffer.get(), data->newline);
  zu_do_strbuf_add_char(buffer.get(), '\n');
  zu_do_strbuf_add_tab(buffer.get(), indentation);
  zu_do_strbuf_add_char(buffer.get(), '\n');
  zu_do_strbuf_print_fp(buffer.get(), stream);
  zu_tvr_props_map_print(stream, indentation, data->props_map);
  std::fputc('\n', stream);
}

zu_tvr_print_scratch_data *zu_tvr_print_scratch_data_new(void) noexcept {
  auto scratch = tvr::make_zeroed<zu_tvr_print_scratch_data>();
  if (!scratch) TVR_ERROR("Failed to allocate tovra node");
  return scratch.release();
}

void zu_tvr_print_scratch_data_delete(zu_tvr_print_scratch_data *scratch) noexcept {
  const tvr::block<zu_tvr_print_scratch_data> owner(scratch);
  if (owner) tvr::line_memory_delete(scratch->memory);
}
