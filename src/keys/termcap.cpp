// The tables of virtual keys and terminal capabilities, and the two routines that
// fetch and send capabilities. Which terminal they speak of is the host's choice.

#include <varno/termcap_util.h>

#include <algorithm>
#include <cstring>
#include <iterator>

#include "contract.h"

// The termcap interface alone, declared here: its header takes common words as
// macros.
extern "C" {
char *tgetstr(const char *id, char **area);
int tputs(const char *text, int affected_lines, int (*output)(int));
}

// A row's code and name are the same word.
#define KEY(code, capability)                                                                      \
    {                                                                                              \
        static_cast<int32_t>(code), capability, #code                                              \
    }

// clang-format off

// ORDER vkeys: row -3 - code is the key's.
//   code                     capability
constexpr termkey_desc_s basic_keys[21] = {
    KEY(VIRTKEY_UP,           "ku"),
    KEY(VIRTKEY_DOWN,         "kd"),
    KEY(VIRTKEY_LEFT,         "kl"),
    KEY(VIRTKEY_RIGHT,        "kr"),
    KEY(VIRTKEY_F1,           "k1"),
    KEY(VIRTKEY_F2,           "k2"),
    KEY(VIRTKEY_F3,           "k3"),
    KEY(VIRTKEY_F4,           "k4"),
    KEY(VIRTKEY_F5,           "k5"),
    KEY(VIRTKEY_F6,           "k6"),
    KEY(VIRTKEY_F7,           "k7"),
    KEY(VIRTKEY_F8,           "k8"),
    KEY(VIRTKEY_F9,           "k9"),
    KEY(VIRTKEY_F10,          "k;"),
    KEY(VIRTKEY_F11,          "F1"),
    KEY(VIRTKEY_F12,          "F2"),
    KEY(VIRTKEY_ENTER,        "@8"),
    KEY(VIRTKEY_HOME,         "kh"),
    KEY(VIRTKEY_END,          "@7"),
    KEY(VIRTKEY_BACKSPACE,    "kb"),
    {0, nullptr, nullptr},
};

// Searched from the first row; the order is free.
//   code                     capability
constexpr termkey_desc_s intrinsic_keys[10] = {
    KEY(VIRTKEY_RETURN,       nullptr),
    KEY(VIRTKEY_ESC,          nullptr),
    KEY(VIRTKEY_DELETE,       nullptr),
    KEY(VIRTKEY_HTAB,         nullptr),
    KEY(VIRTKEY_SPACE,        nullptr),
    KEY(VIRTKEY_INTR,         nullptr),
    KEY(VIRTKEY_NEWLINE,      nullptr),
    KEY(VIRTKEY_REFRESH,      nullptr),
    KEY(VIRTKEY_WILDCARD,     nullptr),
    {0, nullptr, nullptr},
};

// Each list ends with nullptr; capabilities are sent in list order.
constexpr const char *term_init_caps[4]  = {"i1", "is", "i3", nullptr};
constexpr const char *term_keys_caps[2]  = {"ks", nullptr};
constexpr const char *term_reset_caps[5] = {"ke", "r1", "rs", "r3", nullptr};

// clang-format on

#undef KEY

namespace {

constexpr char source_name[] = "termcap_util";

constexpr size_t area_bytes = 128;
constexpr int affected_lines = 80;

constexpr int32_t first_basic = static_cast<int32_t>(VIRTKEY_UP);
constexpr int32_t last_basic = static_cast<int32_t>(VIRTKEY_BACKSPACE);

constexpr bool is_end(const termkey_desc_s &row)
{
    return row.code == 0 && !row.capability && !row.name;
}

constexpr bool basic_rows_stand_in_order()
{
    for (int32_t row = 0; row < 20; row++) {
        if (basic_keys[row].code != first_basic - row || !basic_keys[row].capability)
            return false;
    }
    return basic_keys[19].code == last_basic && is_end(basic_keys[20]);
}

constexpr bool intrinsic_rows_have_no_capability()
{
    for (size_t row = 0; row < 9; row++) {
        if (intrinsic_keys[row].code == 0 || intrinsic_keys[row].capability)
            return false;
    }
    return is_end(intrinsic_keys[9]);
}

static_assert(basic_rows_stand_in_order());
static_assert(intrinsic_rows_have_no_capability());
static_assert(!*std::rbegin(term_init_caps) && !*std::rbegin(term_keys_caps) &&
              !*std::rbegin(term_reset_caps));

// tgetstr copies a capability into its area and knows no bound. The area has 128
// bytes for all who use it, but the storage goes on after it and holds the largest
// terminal entry that ncurses reads: what is too long reaches the assertion, and
// nothing is ever written outside.
constexpr size_t storage_bytes = 32768;
static_assert(storage_bytes >= area_bytes);

} // namespace

const termkey_desc_s *termkey_get_vkey_desc(mkey_t code)
{
    const auto key = static_cast<int32_t>(code);
    if (key <= first_basic && key >= last_basic)
        return &basic_keys[first_basic - key];
    const auto *row = std::find_if(intrinsic_keys, std::end(intrinsic_keys) - 1,
                                   [key](const termkey_desc_s &desc) { return desc.code == key; });
    return is_end(*row) ? nullptr : row;
}

char *tcap_get_string(const char *capability, char *dst)
{
    char name[area_bytes];
    strlcpy2(name, capability, sizeof(name) - 1);
    char buf[storage_bytes];
    char *toss = buf;
    const char *text = tgetstr(name, &toss);
    VARNO_ASSERT_AS(toss < (buf + area_bytes), "toss < (buf + sizeof(buf))");
    if (!text)
        return nullptr;
    return std::strncpy(dst, text, area_bytes);
}

void tcap_emit_caps(const char *const *caps, int (*output)(int))
{
    VARNO_ASSERT(caps);
    for (; *caps; caps++) {
        char out[area_bytes];
        out[0] = '\0';
        tcap_get_string(*caps, out);
        if (out[0])
            tputs(out, affected_lines, output);
    }
}
