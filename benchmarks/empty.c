/* empty.c - what a program costs that does nothing but link the libraries. */
int main(void) { return 0; }
