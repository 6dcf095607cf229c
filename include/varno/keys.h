#ifndef VARNO_KEYS_H
#define VARNO_KEYS_H

/* One key as the whole library passes it on: the keystroke decoder delivers
 * keys, the trie maps sequences of them, the line editor consumes them.
 *
 * A plain input byte is its own code, 0..255. The virtual keys count down from
 * -3 (0xFFFFFFFD) in the order of the table basic_keys (varno/termcap_util.h);
 * -1 and -2 are not used. */

#include <stdint.h>

typedef uint32_t mkey_t; /* the code of a key */

/* Keys that a terminal sends as a sequence; ORDER vkeys: row -3 - code of
 * basic_keys describes each, with the termcap name of its sequence. */
#define VIRTKEY_UP ((mkey_t) 0xFFFFFFFD)
#define VIRTKEY_DOWN ((mkey_t) 0xFFFFFFFC)
#define VIRTKEY_LEFT ((mkey_t) 0xFFFFFFFB)
#define VIRTKEY_RIGHT ((mkey_t) 0xFFFFFFFA)
#define VIRTKEY_F1 ((mkey_t) 0xFFFFFFF9)
#define VIRTKEY_F2 ((mkey_t) 0xFFFFFFF8)
#define VIRTKEY_F3 ((mkey_t) 0xFFFFFFF7)
#define VIRTKEY_F4 ((mkey_t) 0xFFFFFFF6)
#define VIRTKEY_F5 ((mkey_t) 0xFFFFFFF5)
#define VIRTKEY_F6 ((mkey_t) 0xFFFFFFF4)
#define VIRTKEY_F7 ((mkey_t) 0xFFFFFFF3)
#define VIRTKEY_F8 ((mkey_t) 0xFFFFFFF2)
#define VIRTKEY_F9 ((mkey_t) 0xFFFFFFF1)
#define VIRTKEY_F10 ((mkey_t) 0xFFFFFFF0)
#define VIRTKEY_F11 ((mkey_t) 0xFFFFFFEF)
#define VIRTKEY_F12 ((mkey_t) 0xFFFFFFEE)
#define VIRTKEY_ENTER ((mkey_t) 0xFFFFFFED)
#define VIRTKEY_HOME ((mkey_t) 0xFFFFFFEC)
#define VIRTKEY_END ((mkey_t) 0xFFFFFFEB)
#define VIRTKEY_BACKSPACE ((mkey_t) 0xFFFFFFEA)

/* Named bytes, and the trie's any-key: a child stored under it stands for every
 * single key that has no child of its own. No terminal sends it. */
#define VIRTKEY_RETURN ((mkey_t) 13)
#define VIRTKEY_ESC ((mkey_t) 27)
#define VIRTKEY_DELETE ((mkey_t) 127)
#define VIRTKEY_HTAB ((mkey_t) 9)
#define VIRTKEY_SPACE ((mkey_t) 32)
#define VIRTKEY_INTR ((mkey_t) 3)
#define VIRTKEY_NEWLINE ((mkey_t) 10)
#define VIRTKEY_REFRESH ((mkey_t) 12)
#define VIRTKEY_WILDCARD ((mkey_t) 0xFFFFFFE9)

#endif
