#include "platform.h"

extern "C" void InitializeCriticalSection(CRITICAL_SECTION* section) {
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);  // a thread may enter again, as on Windows
    pthread_mutex_init(&section->mutex, &attributes);
    pthread_mutexattr_destroy(&attributes);
}

extern "C" void DeleteCriticalSection(CRITICAL_SECTION* section) { pthread_mutex_destroy(&section->mutex); }

extern "C" void EnterCriticalSection(CRITICAL_SECTION* section) { pthread_mutex_lock(&section->mutex); }

extern "C" void LeaveCriticalSection(CRITICAL_SECTION* section) { pthread_mutex_unlock(&section->mutex); }
