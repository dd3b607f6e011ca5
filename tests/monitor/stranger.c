/* A loadable library without the export that vlpmon looks for. */
#if defined(__GNUC__)
__attribute__((visibility("default")))
#endif
int stranger(void);

int stranger(void) { return 0; }
