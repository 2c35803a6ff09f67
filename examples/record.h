/* record.h - fills the records of XAVO.h without cutting anything short.
 *
 * A password of which only the beginning arrives locks an account; a share of which only the beginning
 * arrives is another one. So what does not fit is refused: both return 1 when the whole text stands in the
 * buffer, and otherwise 0, having said why on standard error. */
#ifndef RECORD_H
#define RECORD_H

#include <stdio.h>
#include <string.h>

/* RECORD_PUT(backup.imagename, text), for any buffer that is an array. */
#define RECORD_PUT(buffer, text) record_put(buffer, sizeof(buffer), #buffer, text)

static inline int record_put(char *buffer, size_t size, const char *name, const char *text) {
    const size_t length = strlen(text);
    if (length >= size) {
        fprintf(stderr, "%s: %zu bytes are too many, %zu fit\n", name, length, size - 1);
        return 0;
    }
    memcpy(buffer, text, length + 1);
    return 1;
}

/* The same with the first line of a file: a secret does not belong on a command line, where every user of
 * the machine can read it. */
#define RECORD_PUT_FILE(buffer, path) record_put_file(buffer, sizeof(buffer), #buffer, path)

static inline int record_put_file(char *buffer, size_t size, const char *name, const char *path) {
    size_t length = 0;
    int c;
    FILE *const file = fopen(path, "r");
    if (file == NULL) {
        perror(path);
        return 0;
    }
    setvbuf(file, NULL, _IONBF, 0); /* no copy of the secret stays behind in the stream's buffer */
    while ((c = getc(file)) != EOF && c != '\n' && c != '\0' && length + 1 < size)
        buffer[length++] = (char)c;
    const char *wrong = NULL;
    if (ferror(file))
        wrong = "cannot be read";
    else if (c == '\0')
        wrong = "has a zero byte in its first line";
    else if (c != EOF && c != '\n')
        wrong = "is too long in its first line";
    else if (length == 0)
        wrong = "has nothing in its first line";
    fclose(file);
    if (wrong == NULL) {
        buffer[length] = '\0';
        return 1;
    }
    memset(buffer, 0, size);
    fprintf(stderr, "%s: %s %s; %zu bytes fit\n", name, path, wrong, size - 1);
    return 0;
}

#endif
