
#ifndef ALIDADE_FOUNDATION_API_H
#define ALIDADE_FOUNDATION_API_H

#ifdef ALIDADE_FOUNDATION_STATIC_DEFINE
#  define ALIDADE_FOUNDATION_API
#  define ALIDADE_FOUNDATION_NO_EXPORT
#else
#  ifndef ALIDADE_FOUNDATION_API
#    ifdef alidade_foundation_EXPORTS
        /* We are building this library */
#      define ALIDADE_FOUNDATION_API __attribute__((visibility("default")))
#    else
        /* We are using this library */
#      define ALIDADE_FOUNDATION_API __attribute__((visibility("default")))
#    endif
#  endif

#  ifndef ALIDADE_FOUNDATION_NO_EXPORT
#    define ALIDADE_FOUNDATION_NO_EXPORT __attribute__((visibility("hidden")))
#  endif
#endif

#ifndef ALIDADE_FOUNDATION_DEPRECATED
#  define ALIDADE_FOUNDATION_DEPRECATED __attribute__ ((__deprecated__))
#endif

#ifndef ALIDADE_FOUNDATION_DEPRECATED_EXPORT
#  define ALIDADE_FOUNDATION_DEPRECATED_EXPORT ALIDADE_FOUNDATION_API ALIDADE_FOUNDATION_DEPRECATED
#endif

#ifndef ALIDADE_FOUNDATION_DEPRECATED_NO_EXPORT
#  define ALIDADE_FOUNDATION_DEPRECATED_NO_EXPORT ALIDADE_FOUNDATION_NO_EXPORT ALIDADE_FOUNDATION_DEPRECATED
#endif

#if 0 /* DEFINE_NO_DEPRECATED */
#  ifndef ALIDADE_FOUNDATION_NO_DEPRECATED
#    define ALIDADE_FOUNDATION_NO_DEPRECATED
#  endif
#endif

#endif /* ALIDADE_FOUNDATION_API_H */
