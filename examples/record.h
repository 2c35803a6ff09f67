/* record.h - fills the records of XAVO.h without truncating.
 *
 * A truncated password can lock the account; a truncated share name can be another share. So both functions
 * refuse text that does not fit: they return 1 when the whole text is in the buffer, else 0 and print the
 * reason on standard error. */
#ifndef RECORD_H
#define RECORD_H

#include <stdio.h>
#include <string.h>

/* RECORD_PUT(backup.imagename, text), for any buffer that is an array. */
#define RECORD_PUT(buffer, text) record_put(buffer, sizeof(buffer), #buffer, text)

static inline int record_put(char *buffer, size_t size, const char *name, const char *text) {
    const size_t length = strlen(text);
    if (length >= size) {
        fprintf(stderr, "%s: the text has %zu bytes, %zu fit\n", name, length, size - 1);
        return 0;
    }
    memcpy(buffer, text, length + 1);
    return 1;
}

/* The same with the first line of a file, for a secret: every user of the machine can read command lines. */
#define RECORD_PUT_FILE(buffer, path) record_put_file(buffer, sizeof(buffer), #buffer, path)

static inline int record_put_file(char *buffer, size_t size, const char *name, const char *path) {
    size_t length = 0;
    int c;
    FILE *const file = fopen(path, "r");
    if (file == NULL) {
        perror(path);
        return 0;
    }
    setvbuf(file, NULL, _IONBF, 0); /* leaves no copy of the secret in the stream's buffer */
    while ((c = getc(file)) != EOF && c != '\n' && c != '\0' && length + 1 < size)
        buffer[length++] = (char)c;
    const char *wrong = NULL;
    if (ferror(file))
        wrong = "cannot be read";
    else if (c == '\0')
        wrong = "has a zero byte in its first line";
    else if (c != EOF && c != '\n')
        wrong = "has a first line that is too long";
    else if (length == 0)
        wrong = "has an empty first line";
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
