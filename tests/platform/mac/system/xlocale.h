// What the C++ library expects of macOS's <xlocale.h> beyond the C library that stands in for macOS's when
// sources are compiled for it elsewhere. Declarations alone: nothing of it is run.
#pragma once

#include <ctype.h>
#include <locale.h>
#include <stdarg.h>
#include <stddef.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>
#include <wchar.h>
#include <wctype.h>

#include <stdint.h>

typedef uint32_t __uint32_t;
enum { // Classes of characters: any bits that differ from each other and from the
       // library's own lowest byte, as nothing is run.
    _CTYPE_A = 0x00100,
    _CTYPE_C = 0x00200,
    _CTYPE_D = 0x00400,
    _CTYPE_L = 0x00800,
    _CTYPE_P = 0x01000,
    _CTYPE_S = 0x02000,
    _CTYPE_U = 0x04000,
    _CTYPE_X = 0x08000,
    _CTYPE_B = 0x10000,
    _CTYPE_R = 0x20000,
};

#ifdef __cplusplus
extern "C" {
#endif
struct lconv* localeconv_l(locale_t);
size_t mbrlen_l(const char*, size_t, mbstate_t*, locale_t);
size_t mbrtowc_l(wchar_t*, const char*, size_t, mbstate_t*, locale_t);
size_t mbsnrtowcs_l(wchar_t*, const char**, size_t, size_t, mbstate_t*, locale_t);
size_t mbsrtowcs_l(wchar_t*, const char**, size_t, mbstate_t*, locale_t);
int mbtowc_l(wchar_t*, const char*, size_t, locale_t);
size_t wcrtomb_l(char*, wchar_t, mbstate_t*, locale_t);
size_t wcsnrtombs_l(char*, const wchar_t**, size_t, size_t, mbstate_t*, locale_t);
wint_t btowc_l(int, locale_t);
int wctob_l(wint_t, locale_t);
int asprintf_l(char**, locale_t, const char*, ...);
int snprintf_l(char*, size_t, locale_t, const char*, ...);
int sscanf_l(const char*, locale_t, const char*, ...);
double strtod_l(const char*, char**, locale_t);
float strtof_l(const char*, char**, locale_t);
long double strtold_l(const char*, char**, locale_t);
long long strtoll_l(const char*, char**, int, locale_t);
unsigned long long strtoull_l(const char*, char**, int, locale_t);
int ___mb_cur_max_l(locale_t);
#ifdef __cplusplus
}
#endif
#define MB_CUR_MAX_L(locale) ((size_t)___mb_cur_max_l(locale))
