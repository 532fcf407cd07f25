// Under ThreadSanitizer the model tests read tsan.supp without anyone having
// to set TSAN_OPTIONS (which still takes effect when set).
#if defined(__SANITIZE_THREAD__) && defined(ORVANE_TSAN_SUPPRESSIONS)
extern "C" const char* __tsan_default_options()
{
    return "suppressions=" ORVANE_TSAN_SUPPRESSIONS;
}
#endif
