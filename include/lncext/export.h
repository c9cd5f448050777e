/* The one export macro of liblncext: every public function and table is
 * declared with LNCEXT_API; everything else in the library is hidden. */
#ifndef LNCEXT_EXPORT_H
#define LNCEXT_EXPORT_H

#if defined(__GNUC__) || defined(__clang__)
#define LNCEXT_API __attribute__((visibility("default")))
#else
#define LNCEXT_API
#endif

#ifdef __cplusplus
#define LNCEXT_BEGIN_DECLS extern "C" {
#define LNCEXT_END_DECLS }
#else
#define LNCEXT_BEGIN_DECLS
#define LNCEXT_END_DECLS
#endif

#endif
