#include <kmhash.h>
#if __has_include(<sha1.h>) || __has_include(<hashCreate.h>)
#error "an internal header of the library would be taken for another library's"
#endif

int main(void) { return getLibraryMajorVersion() == 5 ? 0 : 1; }
