/* A header of another library is not mistaken for one of ours. */
#include <kmhash.h>
#if __has_include(<sha1.h>) || __has_include(<hashCreate.h>)
#error "an internal header can be included"
#endif

int main(void) { return getLibraryMajorVersion() == 5 ? 0 : 1; }
