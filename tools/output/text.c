/* text.c - text from elsewhere, made visible. */
#include "output.h"

#include <locale.h>
#include <string.h>
#include <wchar.h>

int32_t decode(const char *text, size_t *length) {
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

bool steers(int32_t character) {
    /* Control characters, separators of lines, interlinear annotation, and what Unicode calls ignorable. */
    static const int32_t ranges[][2] = {
        {0, 0x1f},        {0x7f, 0x9f},       {0xad, 0xad},       {0x34f, 0x34f},     {0x61c, 0x61c},
        {0x115f, 0x1160}, {0x17b4, 0x17b5},   {0x180b, 0x180f},   {0x200b, 0x200f},   {0x2028, 0x202e},
        {0x2060, 0x206f}, {0x3164, 0x3164},   {0xfe00, 0xfe0f},   {0xfeff, 0xfeff},   {0xffa0, 0xffa0},
        {0xfff0, 0xfffb}, {0x1bca0, 0x1bca3}, {0x1d173, 0x1d17a}, {0xe0000, 0xe0fff},
    };
    for (size_t i = 0; i < sizeof ranges / sizeof *ranges; ++i)
        if (character >= ranges[i][0] && character <= ranges[i][1])
            return true;
    return false;
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
    return (size_t)sprintf(written,
                           character < 0x80      ? "\\x%02x"
                           : character < 0x10000 ? "\\u%04x"
                                                 : "\\U%08x",
                           character < 0x80 ? (unsigned int)(unsigned char)*text : (unsigned int)character);
}

void put_cut(FILE *stream, const char *text, size_t columns) {
    char written[16];
    size_t length;
    for (; text != NULL && *text != '\0'; text += length) {
        const size_t width = make_visible(text, &length, written);
        if (width > columns)
            return;
        columns -= width;
        (void)fputs(written, stream);
    }
}

void put_visible(FILE *stream, const char *text) { put_cut(stream, text, SIZE_MAX); }

void put_line(FILE *stream, const char *text) {
    put_visible(stream, text != NULL ? text : "");
    (void)fputc('\n', stream);
}

size_t visible_width(const char *text) {
    char written[16];
    size_t length, width = 0;
    for (; text != NULL && *text != '\0'; text += length)
        width += make_visible(text, &length, written);
    return width;
}
