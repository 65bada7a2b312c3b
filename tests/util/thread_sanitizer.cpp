// What the thread sanitizer is told in all programs of the tests that raise an exception on one
// thread and catch it on another.

#if defined(__GNUC__)

// The standard library, which isn't instrumented, counts the owners of an exception out of the
// sanitizer's sight: the release by the last of them looks like a race with the reads before it.
extern "C" __attribute__((visibility("default"))) const char* __tsan_default_suppressions();

const char* __tsan_default_suppressions() { // NOLINT: the sanitizer's name
    return "race:std::logic_error::~logic_error\n"
           "race:std::runtime_error::~runtime_error\n"
           "race:std::__exception_ptr::exception_ptr::_M_release\n";
}

#endif
