// The history limit, and the keys of the editor's history commands while recording is off.
#include "history_limit.h"

history_saved_invoker history_saved_invokers[] = {
    {"beginning-of-history", {}},
    {"end-of-history", {}},
    {"forward-search-history", {}},
    {"history-search-backward", {}},
    {"history-search-forward", {}},
    {"next-history", {}},
    {"non-incremental-forward-search-history", {}},
    {"non-incremental-reverse-search-history", {}},
    {"non-incremental-forward-search-history-again", {}},
    {"non-incremental-reverse-search-history-again", {}},
    {"previous-history", {}},
    {"reverse-search-history", {}},
    {"vi-fetch-history", {}},
    {nullptr, {}},
};
