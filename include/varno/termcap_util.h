#ifndef VARNO_TERMCAP_UTIL_H
#define VARNO_TERMCAP_UTIL_H

/* The virtual keys, and the terminal capabilities that say what a key sends.
 *
 * Capabilities are named by their termcap codes and fetched through the termcap
 * interface of ncurses. That interface keeps one terminal entry per process: the
 * host selects it with tgetent, and all tcap_ calls come from one thread.
 *
 * A session sends term_init_caps and term_keys_caps with tcap_emit_caps, fetches
 * the capability of each basic_keys row with tcap_get_string, binds those that
 * the terminal has in its decoder (varno/stroker.h), and sends term_reset_caps
 * when it ends. */

#include <varno/api.h>
#include <varno/keys.h>

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct termkey_desc_s termkey_desc_s;

/* One key that has a name. */
struct termkey_desc_s {
    int32_t code;           /* the mkey_t as a signed number: VIRTKEY_UP is -3 */
    const char *capability; /* the termcap name of the key's sequence; NULL: none */
    const char *name;       /* the name of its macro in varno/keys.h */
};

/* The keys that a terminal sends as sequences, -3 down to -22: row -3 - code is
 * the key's, so the order matters. The end row is all zeros. */
VARNO_API extern const termkey_desc_s basic_keys[21];

/* The named bytes and VIRTKEY_WILDCARD, without capabilities, in no order. The
 * end row is all zeros. */
VARNO_API extern const termkey_desc_s intrinsic_keys[10];

/* Returns: the row of basic_keys or intrinsic_keys that describes a key; NULL for
 *          every other code, so for nearly all printable characters. */
VARNO_API const termkey_desc_s *termkey_get_vkey_desc(mkey_t code);

/* Lists of capabilities to send, in this order; each ends with NULL. ncurses 6.4
 * calls the third initialisation string "i2" and the second reset string "r2":
 * there "i3" and "rs" are lacking from every entry, and a host that needs these
 * two sends them itself. */
VARNO_API extern const char *const term_init_caps[4];  /* initialises the terminal */
VARNO_API extern const char *const term_keys_caps[2];  /* keypad sends the basic_keys sequences */
VARNO_API extern const char *const term_reset_caps[5]; /* keypad local again, then resets */

/* Fetches one capability of the selected terminal into dst, which holds 128
 * bytes; those after the string are set to 0. The name may have 127 characters,
 * what is longer is cut.
 * Requires: the capability has at most 126 bytes (checked; docs/assertions.md).
 *           What is longer is never cut: half an escape sequence is worse than
 *           none. A server offers only terminal types that it knows.
 * Returns:  dst; NULL when the terminal lacks the capability, dst is then
 *           untouched. */
VARNO_API char *tcap_get_string(const char *capability, char *dst);

/* Sends capabilities, padding included, to the output routine, as tputs does for
 * 80 affected lines. caps ends with NULL; what the terminal lacks is skipped. A
 * delay that a capability asks for may block the process.
 * Requires: caps is not NULL; each capability as in tcap_get_string.
 * Calls:    output once for each byte sent; its result is tputs's to judge. */
VARNO_API void tcap_emit_caps(const char *const *caps, int (*output)(int c));

#ifdef __cplusplus
}
#endif

#endif
