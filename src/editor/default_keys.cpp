// Sets up a prompt from tables, and the default key map.

#include <varno/prompt.h>

#include "contract.h"

namespace {

constexpr char source_name[] = "prompt_util";

constexpr mkey_t esc = VIRTKEY_ESC;
constexpr mkey_t del = VIRTKEY_DELETE;

constexpr mkey_t ctrl(char letter)
{
    return static_cast<mkey_t>(letter - '@');
}

// A key sequence as the tables hold it, ended by a 0.
template <mkey_t... keys>
constexpr mkey_t seq[] = {keys..., 0};

} // namespace

// Command name and key sequence. The first four names are the host's own commands.
// No sequence begins with another; otherwise the order does not matter.
// clang-format off
const prompt_keymap_s ostra_keys[40] = {
    {"accept-token",             seq<' '>},
    {"expand-token",             seq<'?'>},
    {"complete-token",           seq<ctrl('I')>},
    {"execute",                  seq<ctrl('M')>},
    {"execute",                  seq<ctrl('J')>},
    {"move-character-back",      seq<VIRTKEY_LEFT>},
    {"move-character-back",      seq<ctrl('B')>},
    {"move-character-forward",   seq<ctrl('F')>},
    {"move-character-forward",   seq<VIRTKEY_RIGHT>},
    {"history-previous",         seq<VIRTKEY_UP>},
    {"history-previous",         seq<ctrl('P')>},
    {"history-next",             seq<VIRTKEY_DOWN>},
    {"history-next",             seq<ctrl('N')>},
    {"move-word-back",           seq<esc, 'b'>},
    {"move-word-forward",        seq<esc, 'f'>},
    {"move-begin",               seq<ctrl('A')>},
    {"move-end",                 seq<ctrl('E')>},
    {"delete-character-forward", seq<ctrl('D')>},
    {"delete-character-back",    seq<del>},
    {"delete-word-back",         seq<ctrl('W')>},
    {"delete-word-back",         seq<esc, del>},
    {"delete-word-forward",      seq<esc, 'd'>},
    {"delete-end",               seq<ctrl('K')>},
    {"delete-begin",             seq<ctrl('U')>},
    {"delete-begin",             seq<ctrl('X')>},
    {"delete-command",           seq<esc, ctrl('W')>},
    {"redisplay",                seq<ctrl('L')>},
    {"redisplay",                seq<ctrl('R')>},
    {"echo",                     seq<esc, 'e'>},
    {"yank-first",               seq<ctrl('Y')>},
    {"yank-next",                seq<esc, 'y'>},
    {"capitalize-word",          seq<esc, 'c'>},
    {"toupper-word",             seq<esc, 'u'>},
    {"tolower-word",             seq<esc, 'l'>},
    {"compact-whitespace",       seq<esc, ctrl('P')>},
    {"move-context-forward",     seq<esc, ctrl('F')>},
    {"move-context-back",        seq<esc, ctrl('B')>},
    {"invoke",                   seq<esc, ctrl('X')>},
    {"execute-and-restore",      seq<esc, ctrl('T')>},
    {nullptr,                    nullptr},
};
// clang-format on

int prompt_util_bind_insert(prompt_s *p)
{
    VARNO_ASSERT(p);
    return prompt_bind_insert(p, p_builtin_insert_char_cb, nullptr, p_builtin_insert_string_cb,
                              nullptr);
}

void prompt_util_bind_reset(prompt_s *p)
{
    VARNO_ASSERT(p);
    VARNO_DEBUG("clearing out the commands");
    prompt_init_commands(p);
}

int prompt_util_bind_commands(prompt_s *p, const prompt_builtin_s *commands, void *context)
{
    VARNO_ASSERT(p && commands);
    for (const prompt_builtin_s *row = commands; row->name; row++) {
        VARNO_DEBUG("Binding command [%s]", row->name);
        if (prompt_bind_command(p, row->name, row->callback, context) != 0) {
            VARNO_DEBUG("Failed to bind command [%s]", row->name);
            return 1;
        }
    }
    return 0;
}

int prompt_util_bind_keys(prompt_s *p, const prompt_keymap_s *keys, void *argument)
{
    VARNO_ASSERT(p && keys);
    for (const prompt_keymap_s *row = keys; row->name; row++) {
        int len = 0;
        while (row->keys[len] != 0)
            len++;
        VARNO_ASSERT(len > 0);
        VARNO_DEBUG("Attaching sequence of len %d to [%s]", len, row->name);
        if (prompt_bind_keys(p, row->name, row->keys, len, argument) != 0) {
            VARNO_DEBUG("Failed to bind sequence for [%s]", row->name);
            return 1;
        }
    }
    return 0;
}
