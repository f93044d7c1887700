#pragma once

#include "ports/HTTP.h"

#include <cstddef>
#include <memory>
#include <string>

class URLSessionDelegate;

/// How a session works. A value made without arguments is the platform's default configuration.
struct URLSessionConfiguration {
    /// For requests that name none of their own; see `URLRequest::timeoutInterval`.
    Duration timeoutIntervalForRequest = std::chrono::seconds(60);
    /// Sent with each request that does not have a field of that name.
    HTTPHeaderFields httpAdditionalHeaders{};
    /// Connections to one server at a time; further tasks wait, and waiting counts as idle.
    int httpMaximumConnectionsPerHost = 6;
    /// The longest response body, in bytes. A task whose response goes on fails with
    /// `NSURLErrorDataLengthExceedsMaximum`; what came before has been delivered. Readers may need many times as much
    /// memory, and servers choose how long a response is.
    std::uint64_t maximumResponseSize = std::uint64_t{64} << 20;
    /// The longest head of a response in bytes, informational responses and trailers included. A task whose response
    /// has a longer one fails with `NSURLErrorDataLengthExceedsMaximum`. A client may allow less for a single line.
    std::size_t maximumHeaderSize = std::size_t{256} << 10;
};

/// One request and its response. A task begins suspended. It keeps its session alive until it has completed.
/// All operations may be called from any thread, also by the delegate in the middle of a call; where memory runs out
/// while a response comes, the task fails with `NSURLErrorUnknown`.
class URLSessionTask {
public:
    virtual ~URLSessionTask() = default;
    /// Starts the task and returns at once; further calls do nothing. From here on the delegate is told of its
    /// completion exactly once, unless the session was invalidated before. Throws `std::system_error` when the system
    /// has no thread to give; the task is then of no more use.
    virtual void resume() = 0;
    /// Ends the task and returns at once: it completes with `NSURLErrorCancelled`, whether it was resumed or not, and
    /// nothing but that completion is told any more, even if its response has come whole in the meantime. Does nothing
    /// to a task that has completed.
    virtual void cancel() = 0;
    /// The task's number in its session, from 1.
    [[nodiscard]] virtual std::size_t taskIdentifier() const = 0;
    /// The request that the task was made with, whatever redirections have made of it.
    [[nodiscard]] virtual const URLRequest& originalRequest() const = 0;
};

/// A task whose response is handed to the delegate piece by piece.
class URLSessionDataTask : public URLSessionTask {};

/// Makes tasks that share connections and a delegate. The delegate is kept strongly until the session is invalid.
/// A session that is dropped without being invalidated finishes the tasks that were resumed. Its connections and
/// the answers to server trust challenges that they were opened with are its own and never serve another session.
/// All operations may be called from any thread.
class URLSession {
public:
    virtual ~URLSession() = default;
    /// What the session was made with.
    [[nodiscard]] virtual const URLSessionConfiguration& configuration() const = 0;
    /// A new suspended task. Never null; once the session has been invalidated its tasks do nothing. A request that
    /// cannot be sent (URL, method, header fields) fails when it is resumed. Redirections are followed as the
    /// delegate allows, at most 20.
    [[nodiscard]] virtual std::shared_ptr<URLSessionDataTask> dataTaskWithRequest(URLRequest request) = 0;
    /// Cancels all tasks that were resumed and ends the session; returns at once. The delegate hears the tasks'
    /// completions, whatever answers it owes, then `URLSession:didBecomeInvalidWithError:`, and is then released.
    /// Further calls do nothing.
    virtual void invalidateAndCancel() = 0;
};

/// The platform's HTTP client. Callable from any thread.
class URLSessions {
public:
    virtual ~URLSessions() = default;
    /// A new session that calls its delegate on a serial queue of its own, never on a caller's thread. A delegate that
    /// is busy may hold up the session's transfers, not those of others. Without a delegate each operation has the
    /// outcome of `URLSessionDelegate`'s own implementation. Never null. When the client itself ends, tasks end untold.
    [[nodiscard]] virtual std::shared_ptr<URLSession> sessionWithConfiguration(
        const URLSessionConfiguration& configuration, std::shared_ptr<URLSessionDelegate> delegate) = 0;
    /// The phrase for an HTTP status code in the user's language, such as "not found"; never empty.
    [[nodiscard]] virtual std::string localizedStringForStatusCode(int statusCode) = 0;
};
