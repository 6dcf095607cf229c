#ifndef VARNO_STROKER_H
#define VARNO_STROKER_H

/* The keystroke decoder: turns the bytes that a terminal sends into keys. Each
 * byte becomes the key of its own code; a bound sequence of bytes becomes the
 * virtual keys that it is bound to.
 *
 * The host creates one decoder per terminal, sets its callback, binds the
 * sequences (varno/termcap_util.h knows the terminal's), prepares, and feeds
 * bytes. Between calls the decoder keeps no input: bytes that may still become a
 * sequence stay with the host, which presents them again.
 *
 * The host's side of the input, from then on:
 *   1. Read bytes; call stroker_consume on the kept bytes followed by the new.
 *   2. Drop the bytes that it used. If it used all, nothing is kept.
 *   3. Otherwise keep the rest, the beginning of a bound sequence, and wait for
 *      more bytes for at most *out_timeout.
 *   4. More bytes: back to 1. None in time: hand the kept bytes to
 *      stroker_consume_timedout, which makes plain keys of them. A lone ESC so
 *      becomes the ESC key after the escape delay.
 *
 * ctx is the decoder, user what the host has given with its callback. A decoder is
 * used by one thread; its callback runs on that thread, inside the consuming call,
 * and must not free the decoder.
 *
 * Every call requires its decoder not to be NULL. What "Requires" says is checked;
 * docs/assertions.md has the reported texts. */

#include <varno/api.h>
#include <varno/keys.h>

#include <stdint.h>

#include <sys/time.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct stroker_s stroker_s; /* a decoder; opaque */

/* Receives keys[0..count), count above 0, which live for the call: a run of
 * plain keys, or the virtual keys of one sequence. The result is ignored. */
typedef int (*stroker_chars_fn)(stroker_s *ctx, void *user, const mkey_t *keys, int32_t count);

/* Makes a decoder without callback or bindings, its escape delay 1 second.
 * Returns: the decoder; NULL without memory.
 * Owns:    the caller; released with stroker_free_context. */
VARNO_API stroker_s *stroker_create_context(void);

/* Releases a decoder and its bindings, but not the bindings' arrays of virtual
 * keys: one array for each binding is never released. A host that opens and closes
 * sessions for weeks therefore keeps its decoders and uses them again; they
 * depend on nothing but the terminal type. */
VARNO_API void stroker_free_context(stroker_s *ctx);

/* Sets the receiver of keys, fn with its user pointer. Until then keys are dropped,
 * their bytes count as used all the same.
 * Requires: a receiver. */
VARNO_API void stroker_set_callback_chars(stroker_s *ctx, stroker_chars_fn fn, void *user);

/* Exchanges the escape delay with *t: *t holds the previous one afterwards. A
 * delay with one negative part passes the check, and must not be handed to an
 * event loop.
 * Requires: t is not NULL, and its seconds or its microseconds are above 0. */
VARNO_API void stroker_set_escape_delay(stroker_s *ctx, struct timeval *t);

/* Binds the bytes of the text seq to the keys vkeys[0..vkeys_len). No sequence
 * may be the beginning of another. A sequence with a byte of 0x80 or above can
 * be bound, but never matches: a bound byte becomes a key as a signed number, an
 * input byte as an unsigned one. Nor is 0xe9 harmless: signed, it is
 * VIRTKEY_WILDCARD, so as a first byte it has plain keys delivered one by one.
 * Requires: seq has 1 to 32 bytes, which are not bound yet; vkeys has at least one
 *           key.
 * Returns:  0; -1 when the sequence begins another or another begins it, when it
 *           holds the byte 0xe9 more than 8 times, or without memory.
 * Owns:     the decoder copies both; the copy of vkeys outlives it (see
 *           stroker_free_context).
 * Fails:    the decoder is as it was. */
VARNO_API int32_t stroker_bind_sequence_to_vkeys(stroker_s *ctx, const char *seq,
                                                 const mkey_t *vkeys, int vkeys_len);

/* As stroker_bind_sequence_to_vkeys, for the text seq and the single key vkey. */
VARNO_API int32_t stroker_bind_sequence_to_vkey(stroker_s *ctx, const char *seq, mkey_t vkey);

/* Makes the bindings fast to search. Called when all are made; a later binding
 * undoes it for the part that it touches until this is called again.
 * Returns:  0. */
VARNO_API int stroker_bindings_prepare(stroker_s *ctx);

/* Decodes buf[0..buflen) and says in *out_timeout how long to wait for the rest
 * of a sequence that the input ends in; zero when nothing is kept. At most 2048
 * bytes are decoded: with more, the call works on the first 2048 and answers,
 * *out_timeout included, as if they were all, and the host presents the rest in
 * further calls, without waiting, as soon as this one returns.
 * Requires: at least one byte; out_timeout is not NULL, which is checked only after
 *           the keys were delivered.
 * Returns:  the number of bytes used; the rest, up to 31 bytes, is the beginning
 *           of a bound sequence, to be kept and presented again.
 * Calls:    the receiver of keys once for each run of plain keys and for each
 *           sequence. */
VARNO_API int32_t stroker_consume(stroker_s *ctx, const unsigned char *buf, int32_t buflen,
                                  struct timeval *out_timeout);

/* Delivers the kept bytes buf[0..buflen) as plain keys, whatever is bound.
 * Requires: 1 to 2048 bytes.
 * Returns:  buflen.
 * Calls:    the receiver of keys once. */
VARNO_API int32_t stroker_consume_timedout(stroker_s *ctx, const unsigned char *buf,
                                           int32_t buflen);

#ifdef __cplusplus
}
#endif

#endif
