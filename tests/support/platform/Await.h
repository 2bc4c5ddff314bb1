// vl_await: starts an asynchronous call with a reply function and blocks until the reply
// comes, with a generous bound so that a broken reply fails the test instead of hanging it.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <utility>

#include "Dispatch/VLSemaphore.h"

template <class T, class Call>
T vl_await(Call call, double seconds = 20) {
  auto done = VLSemaphore::make(0);
  auto value = std::make_shared<T>();  // shared: a late reply must not outlive a local
  call([done, value](T answer) {
    *value = std::move(answer);
    done->signal();
  });
  EXPECT_TRUE(done->wait(seconds)) << "no reply";
  return *value;
}
