/* output.c - text for people and for programs, from strings that nobody vouches for. */
#include "output.h"

#include <json-c/json.h>
#include <locale.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>
#include <unistd.h>
#include <wchar.h>

/* ---- Characters -----------------------------------------------------------------------------------------
 */

/* The character at the beginning of a text and its length; -1 and 1 for a byte that begins none. */
static int32_t decode(const char *text, size_t *length) {
    const unsigned char *bytes = (const unsigned char *)text;
    const size_t count = bytes[0] < 0x80   ? 1
                         : bytes[0] < 0xc2 ? 0
                         : bytes[0] < 0xe0 ? 2
                         : bytes[0] < 0xf0 ? 3
                         : bytes[0] < 0xf5 ? 4
                                           : 0;
    static const int32_t least[] = {0, 0, 0x80, 0x800, 0x10000};
    int32_t character = count == 1 ? bytes[0] : bytes[0] & (0x7f >> count);
    *length = 1;
    for (size_t i = 1; i < count; ++i) {
        if ((bytes[i] & 0xc0) != 0x80) /* the NUL at the end is none, either */
            return -1;
        character = character << 6 | (bytes[i] & 0x3f);
    }
    if (count == 0 || character < least[count] || character > 0x10ffff ||
        (character >= 0xd800 && character < 0xe000))
        return -1;
    *length = count;
    return character;
}

/* Control characters, and those that turn the direction of what follows or are not to be seen. */
static bool steers(int32_t character) {
    return character < 0x20 || (character >= 0x7f && character < 0xa0) || character == 0xad ||
           (character >= 0x200b && character <= 0x200f) || (character >= 0x2028 && character <= 0x202e) ||
           (character >= 0x2060 && character <= 0x206f) || character == 0xfeff;
}

/* The columns that a character takes: what the C locale for UTF-8 says, where there is one. */
static size_t columns_of(int32_t character) {
    static bool asked;
    if (character < 0x80)
        return 1;
    if (!asked)
        (void)setlocale(LC_CTYPE, "C.UTF-8");
    asked = true;
    const int columns = wcwidth((wchar_t)character);
    return columns < 0 ? 1 : (size_t)columns;
}

/* Makes the first character of a text visible: its length there, what is written, and the columns of that. */
static size_t make_visible(const char *text, size_t *length, char written[16]) {
    const int32_t character = decode(text, length);
    if (character >= 0 && !steers(character)) {
        memcpy(written, text, *length);
        written[*length] = '\0';
        return columns_of(character);
    }
    if (character == '\n' || character == '\t' || character == '\r')
        return (size_t)sprintf(written, "\\%c", character == '\n' ? 'n' : character == '\t' ? 't' : 'r');
    return (size_t)sprintf(written, character < 0x80 ? "\\x%02x" : "\\u%04x",
                           character < 0x80 ? (unsigned int)(unsigned char)*text : (unsigned int)character);
}

void put_cut(FILE *stream, const char *text, size_t columns) {
    char written[16];
    size_t length;
    for (; *text != '\0'; text += length) {
        const size_t width = make_visible(text, &length, written);
        if (width > columns)
            return;
        columns -= width;
        (void)fputs(written, stream);
    }
}

void put_visible(FILE *stream, const char *text) { put_cut(stream, text, SIZE_MAX); }

size_t visible_width(const char *text) {
    char written[16];
    size_t length, width = 0;
    for (; *text != '\0'; text += length)
        width += make_visible(text, &length, written);
    return width;
}

/* ---- Colours and tables ---------------------------------------------------------------------------------
 */

bool has_colours(FILE *stream) {
    const char *none = getenv("NO_COLOR"), *terminal = getenv("TERM");
    return (none == NULL || *none == '\0') && terminal != NULL && strcmp(terminal, "dumb") != 0 &&
           isatty(fileno(stream));
}

void put_coloured(FILE *stream, enum colour colour, const char *text) {
    static const char *const codes[] = {"", "\033[31m", "\033[32m", "\033[33m"};
    const bool coloured = colour != PLAIN_COLOUR && has_colours(stream);
    if (coloured)
        (void)fputs(codes[colour], stream);
    put_visible(stream, text);
    if (coloured)
        (void)fputs("\033[0m", stream);
}

enum colour colour_of_status(const char *status) {
    return strcasecmp(status, "Completed") == 0 ? GREEN
           : strcasecmp(status, "Failed") == 0  ? RED
           : strcasecmp(status, "Running") == 0 ? YELLOW
                                                : PLAIN_COLOUR;
}

void put_table(const char *const *titles, size_t columns, const char *const *cells, size_t rows,
               size_t status) {
    size_t *widths = calloc(columns, sizeof *widths);
    for (size_t i = 0; widths != NULL && i < (rows + 1) * columns; ++i) {
        const char *cell = i < columns ? titles[i] : cells[i - columns];
        const size_t width = cell ? visible_width(cell) : 0;
        if (width > widths[i % columns])
            widths[i % columns] = width;
    }
    for (size_t i = 0; i < (rows + 1) * columns; ++i) {
        const size_t column = i % columns;
        const char *cell = i < columns ? titles[i] : cells[i - columns];
        if (cell == NULL)
            cell = "";
        put_coloured(stdout, i >= columns && column == status ? colour_of_status(cell) : PLAIN_COLOUR, cell);
        if (column + 1 == columns)
            (void)putchar('\n');
        else
            (void)printf("%*s", widths ? (int)(widths[column] - visible_width(cell)) + 2 : 1, "");
    }
    free(widths);
}

/* ---- Documents ------------------------------------------------------------------------------------------
 */

bool put_document(struct json_object *document) {
    const char *text =
        json_object_to_json_string_ext(document, JSON_C_TO_STRING_SPACED | JSON_C_TO_STRING_NOSLASHESCAPE);
    size_t length;
    /* Whatever is not ASCII stands inside a string, where an escape means the same. */
    for (; text != NULL && *text != '\0'; text += length) {
        const int32_t character = decode(text, &length);
        if (character < 0)
            (void)fputs("\\ufffd", stdout);
        else if (steers(character))
            (void)printf("\\u%04x", (unsigned int)character);
        else
            (void)fwrite(text, 1, length, stdout);
    }
    (void)putchar('\n');
    return text != NULL;
}
