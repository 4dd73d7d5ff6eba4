#pragma once
// Work on files that would stall the window if it ran on the main thread (hundreds of megabytes
// copied or deleted, an fsync): it runs on a pool thread while the caller's coroutine awaits the
// future, so the step is still awaited like any other and the run stays one step at a time. The
// work must touch nothing observable, only the values it was given and files.
//
// Not a coroutine itself: GCC 12 mishandles a lambda passed by value to one inside a co_await.
// Keep the future in a local and co_await that.

#include <QFuture>
#include <QPromise>
#include <QThreadPool>

#include <memory>
#include <type_traits>

namespace ondrel {

template <class Work> QFuture<std::invoke_result_t<Work>> onWorkerThread(Work work) {
    using Result = std::invoke_result_t<Work>;
    auto promise = std::make_shared<QPromise<Result>>();
    QFuture<Result> future = promise->future();
    promise->start();
    QThreadPool::globalInstance()->start([promise, work = std::move(work)]() mutable {
        promise->addResult(work());
        promise->finish();
    });
    return future;
}

} // namespace ondrel
