#ifndef QuillmarshEngine_visibility_h
#define QuillmarshEngine_visibility_h

/** @file
 * @brief Symbol export macro
 *
 * The shared library is compiled with hidden visibility; every class and free function a host
 * calls is marked @ref QUILLMARSH_EXPORT. On ELF the same attribute serves both the library and
 * its users. Header-only templates need no mark.
 */

#define QUILLMARSH_EXPORT __attribute__((visibility("default")))

/** Marks symbols that stay inside the library even when their class is exported */
#define QUILLMARSH_LOCAL __attribute__((visibility("hidden")))

#endif
