// The terminal's sequences and the host's own key bindings, as tables.

#include "keys.h"

#include <varno/termcap_util.h>

#include <cstdio>
#include <cstring>
#include <iterator>

namespace {

// Codes of our own, above all bytes and below the virtual keys: the editor inserts
// neither as text.
constexpr mkey_t key_delete = 0x100;
constexpr mkey_t key_unused = 0x101; // bound to nothing, so the key does nothing

constexpr mkey_t esc = VIRTKEY_ESC;

struct Sequence {
    const char *bytes;
    mkey_t keys[3]; // 0 behind the last
};

// Sequence and keys. Cursor keys have two forms, by the keypad mode.
// clang-format off
constexpr Sequence common_sequences[] = {
    {"\033[A",    {VIRTKEY_UP}},
    {"\033OA",    {VIRTKEY_UP}},
    {"\033[B",    {VIRTKEY_DOWN}},
    {"\033OB",    {VIRTKEY_DOWN}},
    {"\033[C",    {VIRTKEY_RIGHT}},
    {"\033OC",    {VIRTKEY_RIGHT}},
    {"\033[D",    {VIRTKEY_LEFT}},
    {"\033OD",    {VIRTKEY_LEFT}},
    {"\033[H",    {VIRTKEY_HOME}},
    {"\033OH",    {VIRTKEY_HOME}},
    {"\033[1~",   {VIRTKEY_HOME}},
    {"\033[F",    {VIRTKEY_END}},
    {"\033OF",    {VIRTKEY_END}},
    {"\033[4~",   {VIRTKEY_END}},
    {"\033[3~",   {key_delete}},
    {"\033[1;5C", {esc, 'f'}},
    {"\033[1;5D", {esc, 'b'}},
    {"\033[2~",   {key_unused}},
    {"\033[5~",   {key_unused}},
    {"\033[6~",   {key_unused}},
};

// Command name and key. Ctrl-H is what some terminals send for Backspace.
constexpr struct {
    const char *name;
    mkey_t key;
} own_bindings[] = {
    {"delete-character-back",    8},
    {"delete-character-back",    VIRTKEY_BACKSPACE},
    {"delete-character-forward", key_delete},
    {"move-begin",               VIRTKEY_HOME},
    {"move-end",                 VIRTKEY_END},
    {"execute",                  VIRTKEY_ENTER},
    {"delete-command",           VIRTKEY_INTR},
};
// clang-format on

// The decoder takes sequences of 1 to 32 bytes, and none twice: the terminal's
// capabilities repeat each other and our table.
struct Bound {
    char bytes[std::size(basic_keys) + std::size(common_sequences)][33];
    int count;
};

bool is_bindable(const Bound &bound, const char *bytes)
{
    const size_t len = std::strlen(bytes);
    if (len == 0 || len >= std::size(bound.bytes[0]))
        return false;
    for (int i = 0; i < bound.count; i++) {
        if (std::strcmp(bound.bytes[i], bytes) == 0)
            return false;
    }
    return true;
}

// A sequence that begins another is refused by the decoder, which keeps the first.
void bind(stroker_s *decoder, Bound &bound, const char *bytes, const mkey_t *keys, int nkeys)
{
    if (!is_bindable(bound, bytes))
        return;
    if (stroker_bind_sequence_to_vkeys(decoder, bytes, keys, nkeys) == 0)
        std::snprintf(bound.bytes[bound.count++], std::size(bound.bytes[0]), "%s", bytes);
}

} // namespace

void keys_bind_sequences(stroker_s *decoder)
{
    Bound bound = {};
    for (const termkey_desc_s *row = basic_keys; row->capability; row++) {
        char bytes[128];
        const auto key = static_cast<mkey_t>(row->code);
        if (tcap_get_string(row->capability, bytes))
            bind(decoder, bound, bytes, &key, 1);
    }
    for (const Sequence &row : common_sequences)
        bind(decoder, bound, row.bytes, row.keys, row.keys[1] ? 2 : 1);
    stroker_bindings_prepare(decoder);
}

void keys_bind_commands(prompt_s *p)
{
    for (const auto &row : own_bindings)
        prompt_bind_keys(p, row.name, &row.key, 1, nullptr);
}
