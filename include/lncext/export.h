/* The one export macro of liblncext: every public function and table is
 * declared with LNCEXT_API; everything else in the library is hidden. */
#ifndef LNCEXT_EXPORT_H
#define LNCEXT_EXPORT_H

#if defined(__GNUC__) || defined(__clang__)
#define LNCEXT_API __attribute__((visibility("default")))
#else
#define LNCEXT_API
#endif

/* On functions whose result says whether the outputs are valid (a MAC or
 * signature check, a key that may be rejected): ignoring it is a bug, so the
 * compiler warns. */
#if defined(__GNUC__) || defined(__clang__)
#define LNCEXT_WARN_UNUSED __attribute__((warn_unused_result))
#else
#define LNCEXT_WARN_UNUSED
#endif

#ifdef __cplusplus
#define LNCEXT_BEGIN_DECLS extern "C" {
#define LNCEXT_END_DECLS }
#else
#define LNCEXT_BEGIN_DECLS
#define LNCEXT_END_DECLS
#endif

#endif
