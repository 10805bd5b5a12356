
#ifndef ALIDADE_API_H
#define ALIDADE_API_H

#ifdef ALIDADE_STATIC_DEFINE
#  define ALIDADE_API
#  define ALIDADE_NO_EXPORT
#else
#  ifndef ALIDADE_API
#    ifdef alidade_EXPORTS
        /* We are building this library */
#      define ALIDADE_API __attribute__((visibility("default")))
#    else
        /* We are using this library */
#      define ALIDADE_API __attribute__((visibility("default")))
#    endif
#  endif

#  ifndef ALIDADE_NO_EXPORT
#    define ALIDADE_NO_EXPORT __attribute__((visibility("hidden")))
#  endif
#endif

#ifndef ALIDADE_DEPRECATED
#  define ALIDADE_DEPRECATED __attribute__ ((__deprecated__))
#endif

#ifndef ALIDADE_DEPRECATED_EXPORT
#  define ALIDADE_DEPRECATED_EXPORT ALIDADE_API ALIDADE_DEPRECATED
#endif

#ifndef ALIDADE_DEPRECATED_NO_EXPORT
#  define ALIDADE_DEPRECATED_NO_EXPORT ALIDADE_NO_EXPORT ALIDADE_DEPRECATED
#endif

#if 0 /* DEFINE_NO_DEPRECATED */
#  ifndef ALIDADE_NO_DEPRECATED
#    define ALIDADE_NO_DEPRECATED
#  endif
#endif

#endif /* ALIDADE_API_H */
