// The layout of the public records. Programs read and set their fields, and copy
// the exported tables, so a change here raises the major version and the SONAME.

#include <varno/cli_assist.h>
#include <varno/tsession.h>
#include <varno/varno.h>

#include <cstddef>
#include <iterator>

#include <gtest/gtest.h>

namespace {

struct Layout {
    const char *what;
    size_t actual;
    size_t expected;
};

// Bytes, for 64-bit pointers and the alignments of the x86-64 and AArch64 calling
// conventions: each record's size, then the offsets of its fields.
// clang-format off
#define SIZE(record, bytes) {"sizeof(" #record ")", sizeof(record), bytes}
#define FIELD(record, field, at) {#record "." #field, offsetof(record, field), at}

constexpr Layout layouts[] = {
    SIZE(mkey_t,                                4),

    SIZE(mc_key_s,                             16),
    FIELD(mc_key_s, key,                        0),
    FIELD(mc_key_s, node,                       8),

    SIZE(mc_node_s,                            40),
    FIELD(mc_node_s, keys,                      0),
    FIELD(mc_node_s, keys_len,                  8),
    FIELD(mc_node_s, value,                    16),
    FIELD(mc_node_s, optimized,                24),
    FIELD(mc_node_s, any,                      32),

    SIZE(pstate,                              264),
    FIELD(pstate, buf,                          0),
    FIELD(pstate, buf_used,                   256),
    FIELD(pstate, cursor_location,            260),

    SIZE(prompt_command_s,                     48),
    FIELD(prompt_command_s, inv.invoke_name,    0),
    FIELD(prompt_command_s, inv.callback,       8),
    FIELD(prompt_command_s, inv.context,       16),
    FIELD(prompt_command_s, refct,             24),
    FIELD(prompt_command_s, next,              32),
    FIELD(prompt_command_s, pprev,             40),

    SIZE(prompt_clink_s,                       16),
    FIELD(prompt_clink_s, command,              0),
    FIELD(prompt_clink_s, argument,             8),

    SIZE(prompt_model_s,                      276),
    FIELD(prompt_model_s, buf,                  0),
    FIELD(prompt_model_s, buf_len,            256),
    FIELD(prompt_model_s, virtual_cursor,     260),
    FIELD(prompt_model_s, margin_left,        264),
    FIELD(prompt_model_s, text_width,         268),
    FIELD(prompt_model_s, margin_right,       272),

    SIZE(prompt_history_s,                     32),
    FIELD(prompt_history_s, command,            0),
    FIELD(prompt_history_s, cursor_location,    8),
    FIELD(prompt_history_s, next,              16),
    FIELD(prompt_history_s, prev,              24),

    SIZE(prompt_s,                           1072),
    FIELD(prompt_s, keys,                       0),
    FIELD(prompt_s, insert.char_fn,             8),
    FIELD(prompt_s, insert.char_ctx,           16),
    FIELD(prompt_s, insert.string_fn,          24),
    FIELD(prompt_s, insert.string_ctx,         32),
    FIELD(prompt_s, commands,                  40),
    FIELD(prompt_s, width,                     48),
    FIELD(prompt_s, height,                    52),
    FIELD(prompt_s, ps,                        56),
    FIELD(prompt_s, display_offset,           320),
    FIELD(prompt_s, flags,                    324),
    FIELD(prompt_s, active_model,             328),
    FIELD(prompt_s, models,                   332),
    FIELD(prompt_s, history.cqh_first,        888),
    FIELD(prompt_s, history.cqh_last,         896),
    FIELD(prompt_s, history_count,            904),
    FIELD(prompt_s, history_limit,            908),
    FIELD(prompt_s, history_browse,           912),
    FIELD(prompt_s, pinfo.print_fn,           920),
    FIELD(prompt_s, pinfo.print_ctx,          928),
    FIELD(prompt_s, pinfo.flush_fn,           936),
    FIELD(prompt_s, pinfo.flush_ctx,          944),
    FIELD(prompt_s, pinfo.putc_fn,            952),
    FIELD(prompt_s, pinfo.putc_ctx,           960),
    FIELD(prompt_s, disp.empty,               968),
    FIELD(prompt_s, disp.empty_len,          1000),
    FIELD(prompt_s, disp.normal,             1004),
    FIELD(prompt_s, disp.normal_len,         1036),
    FIELD(prompt_s, disp.left,               1040),
    FIELD(prompt_s, disp.left_len,           1048),
    FIELD(prompt_s, disp.right,              1052),
    FIELD(prompt_s, disp.right_len,          1060),
    FIELD(prompt_s, scroll_step,             1064),

    SIZE(prompt_builtin_s,                     16),
    FIELD(prompt_builtin_s, name,               0),
    FIELD(prompt_builtin_s, callback,           8),

    SIZE(prompt_keymap_s,                      16),
    FIELD(prompt_keymap_s, name,                0),
    FIELD(prompt_keymap_s, keys,                8),

    SIZE(termkey_desc_s,                       24),
    FIELD(termkey_desc_s, code,                 0),
    FIELD(termkey_desc_s, capability,           8),
    FIELD(termkey_desc_s, name,                16),

    SIZE(telparser_s,                          96),
    FIELD(telparser_s, recv_fn,                 0),
    FIELD(telparser_s, recv_user,               8),
    FIELD(telparser_s, send_fn,                16),
    FIELD(telparser_s, send_user,              24),
    FIELD(telparser_s, trace_fn,               32),
    FIELD(telparser_s, trace_user,             40),
    FIELD(telparser_s, naws_fn,                48),
    FIELD(telparser_s, naws_user,              56),
    FIELD(telparser_s, term_fn,                64),
    FIELD(telparser_s, term_user,              72),
    FIELD(telparser_s, brk_fn,                 80),
    FIELD(telparser_s, brk_user,               88),

    SIZE(telnet_command_s,                     32),
    FIELD(telnet_command_s, name,               0),
    FIELD(telnet_command_s, parameters,         8),
    FIELD(telnet_command_s, code,              16),
    FIELD(telnet_command_s, description,       24),

    SIZE(cli_pnode_s,                         104),
    FIELD(cli_pnode_s, name,                    0),
    FIELD(cli_pnode_s, keyword,                 8),
    FIELD(cli_pnode_s, help,                   16),
    FIELD(cli_pnode_s, type,                   24),
    FIELD(cli_pnode_s, child,                  32),
    FIELD(cli_pnode_s, next,                   40),
    FIELD(cli_pnode_s, aux_text,               48),
    FIELD(cli_pnode_s, aux_int,                56),
    FIELD(cli_pnode_s, func,                   64),
    FIELD(cli_pnode_s, attr,                   72),
    FIELD(cli_pnode_s, link_count,             76),
    FIELD(cli_pnode_s, own_name,               80),
    FIELD(cli_pnode_s, own_keyword,            88),
    FIELD(cli_pnode_s, own_help,               96),

    SIZE(cli_pmatch_s,                         32),
    FIELD(cli_pmatch_s, next,                   0),
    FIELD(cli_pmatch_s, token,                  8),
    FIELD(cli_pmatch_s, node,                  16),
    FIELD(cli_pmatch_s, pos,                   24),
    FIELD(cli_pmatch_s, len,                   28),

    SIZE(tsession_config_s,                   136),
    FIELD(tsession_config_s, size,               0),
    FIELD(tsession_config_s, transport,          8),
    FIELD(tsession_config_s, terminal_type,     16),
    FIELD(tsession_config_s, columns,           24),
    FIELD(tsession_config_s, rows,              28),
    FIELD(tsession_config_s, prompt,            32),
    FIELD(tsession_config_s, history_limit,     40),
    FIELD(tsession_config_s, is_unpaged,        44),
    FIELD(tsession_config_s, leave_assertions,  48),
    FIELD(tsession_config_s, escape_wait_ms,    52),
    FIELD(tsession_config_s, texts,             56),
    FIELD(tsession_config_s, graph,             64),
    FIELD(tsession_config_s, shared,            72),
    FIELD(tsession_config_s, user,              80),
    FIELD(tsession_config_s, output,            88),
    FIELD(tsession_config_s, line,              96),
    FIELD(tsession_config_s, event,            104),
    FIELD(tsession_config_s, filter,          112),
    FIELD(tsession_config_s, key,             120),
    FIELD(tsession_config_s, refused,         128),

    SIZE(tsession_texts_s,                    136),
    FIELD(tsession_texts_s,  size,               0),
    FIELD(tsession_texts_s,  more,               8),
    FIELD(tsession_texts_s,  more_keys,         16),
    FIELD(tsession_texts_s,  fault,             24),
    FIELD(tsession_texts_s,  overflow,          32),
    FIELD(tsession_texts_s,  long_line,         40),
    FIELD(tsession_texts_s,  long_answer,       48),
    FIELD(tsession_texts_s,  presence,          56),
    FIELD(tsession_texts_s,  reasons,           64),

    SIZE(tsession_event_s,                     24),
    FIELD(tsession_event_s, kind,               0),
    FIELD(tsession_event_s, columns,            4),
    FIELD(tsession_event_s, rows,               8),
    FIELD(tsession_event_s, text,              16),

    SIZE(cli_assist_completion_s,             268),
    FIELD(cli_assist_completion_s, insert,      0),
    FIELD(cli_assist_completion_s, insert_len, 256),
    FIELD(cli_assist_completion_s, choices,   260),
    FIELD(cli_assist_completion_s, is_text,   264),

    SIZE(cli_assist_error_s,                  140),
    FIELD(cli_assist_error_s, reason,           0),
    FIELD(cli_assist_error_s, at,               4),
    FIELD(cli_assist_error_s, len,              8),
    FIELD(cli_assist_error_s, why,             12),

    SIZE(cli_assist_filter_s,                  48),
    FIELD(cli_assist_filter_s, size,            0),
    FIELD(cli_assist_filter_s, user,            8),
    FIELD(cli_assist_filter_s, fit,            16),
    FIELD(cli_assist_filter_s, values,         24),
    FIELD(cli_assist_filter_s, attr,           32),
    FIELD(cli_assist_filter_s, rest,           36),
    FIELD(cli_assist_filter_s, bare,           40),
};
// clang-format on

TEST(Abi, RecordLayoutsAreThoseOfVersionOne)
{
    if (sizeof(void *) != 8)
        GTEST_SKIP() << "the table is for 64-bit pointers";
    for (const Layout &layout : layouts)
        EXPECT_EQ(layout.actual, layout.expected) << layout.what;
}

TEST(Abi, ExportedTablesKeepTheirRowCounts)
{
    EXPECT_EQ(std::size(prompt_builtins), 28u);
    EXPECT_EQ(std::size(prompt_builtins_test), 5u);
    EXPECT_EQ(std::size(ostra_keys), 40u);
    EXPECT_EQ(std::size(basic_keys), 21u);
    EXPECT_EQ(std::size(intrinsic_keys), 10u);
    EXPECT_EQ(std::size(term_init_caps), 4u);
    EXPECT_EQ(std::size(term_keys_caps), 2u);
    EXPECT_EQ(std::size(term_reset_caps), 5u);
}

} // namespace
