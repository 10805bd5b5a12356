#if defined(_MSC_VER) || defined(__MINGW32__)
#define EXPORTED __declspec(dllexport)
#else
#define EXPORTED __attribute__((visibility("default")))
#endif

extern "C" EXPORTED int AddOne(int value)
{
    return value + 1;
}
