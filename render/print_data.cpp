// The data record of print nodes and their scratch data: making, deleting, dumping.
#include "print_job.hpp"
#include "zu_tovra/internal/report.hpp"

namespace tvr {

int32_t walk_print(zu_tvr_print_data *data, zu_tvr_print_scratch_data *scratch,
                   zu_tvr_walk_ctx *ctx) noexcept;

namespace {

using print_data = unique<zu_tvr_print_data, zu_tvr_print_data_delete>;

// Sets what may fail; true when all is there.
bool fill(zu_tvr_print_data *data, const char *format, const zu_tvr_props_map *map,
          const char *cond) noexcept {
  data->format = copy_text(format).release();
  if (data->format == nullptr) return false;
  if (cond != nullptr) {
    data->cond = copy_text(cond).release();
    if (data->cond == nullptr) return false;
  }
  data->prepared = prepare_print(data->format, map, cond != nullptr);
  return data->prepared != nullptr;
}

} // namespace
} // namespace tvr

zu_tvr_print_data *zu_tvr_print_data_new(const char *format, zu_tvr_props_map *props_map, uint8_t newline,
                                         const char *cond, zu_do_properties *eval_props) noexcept {
  TVR_ASSERT(format);
  tvr::print_data data(tvr::make_zeroed<zu_tvr_print_data>().release());
  if (!data || !tvr::fill(data.get(), format, props_map, cond)) {
    TVR_ERROR("Failed to allocate tovra node");
    return nullptr;
  }
  data->props_map = props_map;
  data->newline = newline;
  data->walk = tvr::walk_print;
  data->eval_props = tvr::share_into_field(eval_props);
  if (cond != nullptr) tvr::make_condition(data.get());
  return data.release();
}

void zu_tvr_print_data_delete(zu_tvr_print_data *data) noexcept {
  if (data == nullptr) return;
  qfree_named(data->format);
  zu_tvr_props_map_delete(data->props_map);
  qfree_named(data->cond);
  zu_cli_cmd_op_free(data->cond_op);
  tvr::drop_field(data->eval_props);
  tvr::delete_prepared(static_cast<tvr::prepared_print *>(data->prepared));
  qfree_named(data);
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
  if (scratch == nullptr) return;
  tvr::delete_memo(static_cast<tvr::print_memo *>(scratch->memo));
  qfree_named(scratch);
}
