// A host's CLI context: errors handed on, named configurations, results arrays, and the small things.
#include <utility>
#include <vector>

#include "cli_exec/cli_exec.h"
#include "support/objects.hpp"

namespace {

// A data interface that only counts its references; all must be released when it ends.
struct counted_data {
  zu_data_ifc ifc{&ops};
  int references = 1;
  bool refuses = false;

  ~counted_data() { EXPECT_EQ(references, 1); }

  static counted_data *of(zu_data_ifc *ifc) { return reinterpret_cast<counted_data *>(ifc); }
  static int ref(zu_data_ifc *ifc) {
    if (of(ifc)->refuses) return ZU_CANNOT_OPEN;
    ++of(ifc)->references;
    return 0;
  }
  static int free(zu_data_ifc *ifc) {
    --of(ifc)->references;
    return 0;
  }
  static const zu_data_ifc_ops ops;
};
const zu_data_ifc_ops counted_data::ops = {nullptr, ref, free, nullptr, nullptr};

using recorded = std::vector<std::pair<int32_t, std::string>>;

void record(void *to, int32_t code, const char *message) {
  static_cast<recorded *>(to)->emplace_back(code, message);
}

struct releaser {
  void operator()(zu_cli_context *cli) const { zu_cli_context_free(cli); }
  void operator()(zu_results_array *array) const { zu_results_array_free(array); }
};
using owned_context = std::unique_ptr<zu_cli_context, releaser>;
using owned_results = std::unique_ptr<zu_results_array, releaser>;

zu_data_ifc *config_of(const owned_context &cli, const char *name, int code) {
  zu_data_ifc *data = nullptr;
  EXPECT_EQ(cli->config_ifc->ops->get_config(cli->config_ifc, name, 0, &data), code) << name;
  return data;
}

TEST(contexts, hand_on_errors_in_order_and_results_arrays_keep_them) {
  counted_data data;
  recorded errors;
  owned_context cli(zu_cli_context_new(&data.ifc, record, &errors));
  EXPECT_EQ(data.references, 2);
  zu_result_ifc *sink = cli->result_ifc;
  EXPECT_EQ(sink->ops->set_error(sink, 1, "one"), 0);
  owned_results arrays[3];
  for (auto &array : arrays) array.reset(zu_results_array_new(sink));
  EXPECT_EQ(sink->ops->set_error(sink, 3, nullptr), 0);
  arrays[1].reset();
  const test::own_error error(zu_do_error_new(-2, "two"));
  EXPECT_EQ(sink->ops->set_error_object(sink, error.get()), 0);
  EXPECT_NE(sink->ops->set_error_object(sink, nullptr), 0);
  EXPECT_EQ(errors, (recorded{{1, "one"}, {3, ""}, {-2, "two"}}));
  cli->data_ifc = nullptr; // the host's own business: the context still releases what it took
  cli->result_ifc = nullptr;
  cli.reset(); // the arrays may outlive it
  for (const int at : {0, 2}) {
    EXPECT_EQ(zu_results_array_get_len(arrays[at].get()), 2u);
    EXPECT_STREQ(zu_do_error_get_msg(zu_results_array_get_last(arrays[at].get())), "two");
  }
}

TEST(contexts, find_named_configurations) {
  counted_data first, second;
  {
    const owned_context cli(zu_cli_context_new(nullptr, nullptr, nullptr));
    EXPECT_EQ(config_of(cli, "running", ZU_NOT_FOUND), nullptr);
    EXPECT_EQ(zu_cli_context_add_config(cli.get(), "running", &first.ifc), 0);
    EXPECT_EQ(zu_cli_context_add_config(cli.get(), "startup", &second.ifc), 0);
    EXPECT_EQ(config_of(cli, "running", 0), &first.ifc);
    counted_data::free(&first.ifc);
    for (const char *none : {"Running", static_cast<const char *>(nullptr)}) {
      EXPECT_EQ(config_of(cli, none, ZU_NOT_FOUND), nullptr);
    }
    EXPECT_EQ(zu_cli_context_add_config(cli.get(), "running", &second.ifc), 0); // in place of the first
    EXPECT_EQ(std::pair(first.references, second.references), std::pair(1, 3));
    first.refuses = second.refuses = true;
    for (const char *name : {"running", "other"}) {
      EXPECT_EQ(zu_cli_context_add_config(cli.get(), name, &first.ifc), ZU_CANNOT_OPEN);
    }
    EXPECT_EQ(config_of(cli, "other", ZU_NOT_FOUND), nullptr);
    EXPECT_EQ(config_of(cli, "running", ZU_CANNOT_OPEN), nullptr);
    EXPECT_EQ(zu_cli_context_add_config(cli.get(), nullptr, &second.ifc), ZU_FAILED);
    EXPECT_EQ(zu_cli_context_add_config(cli.get(), "none", nullptr), ZU_FAILED);
  }
  EXPECT_EQ(zu_cli_context_new(&first.ifc, nullptr, nullptr), nullptr);
}

TEST(contexts, are_made_whole_or_not_at_all) {
  counted_data data;
  test::fail_each_allocation([&data] {
    const owned_context cli(zu_cli_context_new(&data.ifc, nullptr, nullptr));
    if (cli == nullptr) return false;
    const int code = zu_cli_context_add_config(cli.get(), "running", &data.ifc);
    EXPECT_TRUE(code == 0 || code == ZU_EXHAUSTED) << code;
    const owned_results array(zu_results_array_new(cli->result_ifc));
    cli->result_ifc->ops->set_error(cli->result_ifc, 1, "recorded whatever memory is left");
    EXPECT_EQ(zu_results_array_get_len(array.get()), array != nullptr ? 1u : 0u);
    return code == 0 && array != nullptr && qmalloc_fail_fired() == 0;
  });
}

TEST(formatted_texts, give_their_length_and_are_charged_to_their_area) {
  const char *volatile none = nullptr;
  for (const int width : {1, 5000}) {
    char *text = nullptr, *plain = nullptr;
    const int64_t before = qmalloc_count(0x2800000).live_blocks;
    EXPECT_EQ(zu_printf(&text, "%s %*d", none, width, 7), 7 + width);
    EXPECT_EQ(text, "(null) " + std::string(width - 1, ' ') + "7");
    EXPECT_EQ(qmalloc_count(0x2800000).live_blocks, before + 1);
    qfree_named(text);
    EXPECT_EQ(__tessel_asprintf(&plain, "%*d", width, 7), width);
    qfree_unnamed(plain);
    qmalloc_fail_nth(1, true);
    EXPECT_LT(zu_printf(&text, "%*d", width, 7), 0);
    EXPECT_LT(__tessel_asprintf(&plain, "%*d", width, 7), 0);
    qmalloc_fail_nth(0, false);
    EXPECT_EQ(std::pair(text, plain), (std::pair<char *, char *>()));
  }
}

} // namespace
