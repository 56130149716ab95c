/** A process that can start no thread. */
#pragma once

#include <pthread.h>

#include <cstddef>

namespace kestrelbay {

/** While it exists, no thread can be started, because no stack of the required size can be allocated. */
class NoThreads {
 public:
  NoThreads() {
    pthread_getattr_default_np(&before);
    pthread_attr_t boundless;
    pthread_attr_init(&boundless);
    pthread_attr_setstacksize(&boundless, std::size_t{1} << 47);
    pthread_setattr_default_np(&boundless);
    pthread_attr_destroy(&boundless);
  }
  ~NoThreads() {
    pthread_setattr_default_np(&before);
    pthread_attr_destroy(&before);
  }
  NoThreads(const NoThreads&) = delete;
  NoThreads& operator=(const NoThreads&) = delete;

 private:
  pthread_attr_t before;
};

}  // namespace kestrelbay
