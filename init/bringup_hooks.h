// Internal view of the bring-up, for white-box tests.
#pragma once

#include <pthread.h>

namespace esw {

// How the bring-up starts the receive thread. Tests replace it to make the start fail; null
// restores pthread_create.
using ThreadStarter = int (*)(pthread_t* thread, const pthread_attr_t* attr, void* (*routine)(void*),
                              void* arg);
void set_thread_starter(ThreadStarter starter);

}  // namespace esw
