/* Growable string buffers, and formatted texts. */
#ifndef ZUAPI_STRBUF_H
#define ZUAPI_STRBUF_H

#include "zuapi/base.h"

#ifdef __cplusplus
extern "C" {
#endif

zu_do_strbuf *zu_do_strbuf_new(void);
void zu_do_strbuf_deref(zu_do_strbuf *buffer);

/* Append: 0, or ZU_EXHAUSTED. A buffer that could not grow stays failed until it is cleared: later appends
 * fail too, and it gives no text, because a text with a missing piece would look correct. */
int zu_do_strbuf_add_string(zu_do_strbuf *buffer, const char *text); /* null adds nothing */
int zu_do_strbuf_add_bytes(zu_do_strbuf *buffer, const char *bytes, size_t length);
int zu_do_strbuf_add_char(zu_do_strbuf *buffer, char character);
int zu_do_strbuf_add_long(zu_do_strbuf *buffer, int64_t number);
int zu_do_strbuf_add_tab(zu_do_strbuf *buffer, uint32_t count);
/* `count` times the character. */
int zu_do_strbuf_add_fill(zu_do_strbuf *buffer, char character, size_t count);

/* The text so far, NUL-terminated, borrowed until the next append; null for a failed buffer. A new buffer
 * gives the empty text. */
const char *zu_do_strbuf_to_string(zu_do_strbuf *buffer);
size_t zu_do_strbuf_get_len(zu_do_strbuf *buffer);
void zu_do_strbuf_clear(zu_do_strbuf *buffer);
/* Writes the text to the stream; a failed buffer writes nothing. */
void zu_do_strbuf_print_fp(zu_do_strbuf *buffer, FILE *stream);

/* A new formatted text, charged to the library area of its caller (0x2800000): its length, or a negative
 * result and null in `*text`. "%s" of null is "(null)". Freed with qfree_unnamed. */
int __tessel_asprintf(char **text, const char *format, ...) __attribute__((format(printf, 2, 3)));

#ifdef __cplusplus
}
#endif

#endif
