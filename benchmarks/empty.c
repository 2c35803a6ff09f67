/* empty.c - links the libraries and does nothing, to measure the cost of that. */
int main(void) { return 0; }
