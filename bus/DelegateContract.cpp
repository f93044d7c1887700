#include "bus/DelegateContract.h"

#include "bus/Connection.h"
#include "bus/Convert.h"
#include "bus/KeynoteCaptureServiceDelegateAdaptor.h"
#include "bus/Names.h"
#include "bus/Sdbus.h"

#include <utility>

namespace bus {
namespace {

template <typename... Arguments>
Call<> event(const char* member, const Arguments&... arguments) {
    return makeCall("com.veldrin.KeynoteCaptureServiceDelegate", member, arguments...);
}

class DelegateObject final : private sdbus::AdaptorInterfaces<com::veldrin::KeynoteCaptureServiceDelegate_adaptor>,
                             public Registration {
public:
    DelegateObject(Connection& connection, KeynoteCaptureServiceDelegate& delegate,
                   std::function<bool(const std::string& caller)> mayCall)
        : AdaptorInterfaces(connection.library(), sdbus::ObjectPath(kDelegatePath)),
          delegate_(delegate),
          mayCall_(std::move(mayCall)) {
        registerAdaptor();  // last, because calls may come from here on
    }
    ~DelegateObject() override { unregisterAdaptor(); }

private:
    /// Anyone on the bus can call the exported object.
    void notify(const std::function<void()>& call) const {
        if (!mayCall_(callerOf(getObject()))) {
            throw sdbus::Error(ErrorName(kAccessDenied), "Only the capture service may call this.");
        }
        // What the host throws must not reach the library, and not the service either.
        guarded(call);
    }

    void startedPresenting(const std::string& presentationID, const std::string& originalDocumentPath,
                           const std::string& archive, const ErrorStruct& error) override {
        notify([&] {
            delegate_.startedPresenting(optionalFrom(presentationID), optionalPathFrom(originalDocumentPath),
                                        optionalFrom(archive), errorFrom(error));
        });
    }
    void stoppedPresenting(const std::string& presentationID, const ErrorStruct& error) override {
        notify([&] { delegate_.stoppedPresenting(optionalFrom(presentationID), errorFrom(error)); });
    }
    void slideDeckPresentedSlide(const std::string& presentationID, const std::int64_t& presentedSlide,
                                 const std::int64_t& at, const std::string& imageFilePathURL) override {
        notify([&] {
            delegate_.slideDeckPresentedSlide(optionalFrom(presentationID), presentedSlide, dateFrom(at),
                                              optionalPathFrom(imageFilePathURL));
        });
    }
    void extractedSlideFilesForPresentation(const std::string& presentationPath, const ErrorStruct& error) override {
        notify([&] { delegate_.extractedSlideFilesForPresentation(presentationPath, errorFrom(error)); });
    }
    void savedArchiveDocuments() override {
        notify([&] { delegate_.savedArchiveDocuments(); });
    }
    void failedToSaveArchiveDocumentError(const ErrorStruct& error) override {
        notify([&] { delegate_.failedToSaveArchiveDocumentError(errorFrom(error)); });
    }
    void detectedKeynoteLaunched() override {
        notify([&] { delegate_.detectedKeynoteLaunched(); });
    }
    void detectedKeynoteTerminated() override {
        notify([&] { delegate_.detectedKeynoteTerminated(); });
    }

    KeynoteCaptureServiceDelegate& delegate_;
    const std::function<bool(const std::string& caller)> mayCall_;
};

}  // namespace

void DelegateEvents::startedPresenting(const std::optional<std::string>& presentationID,
                                       const std::optional<std::filesystem::path>& originalDocumentPath,
                                       const std::optional<std::string>& archive, const ErrorPtr& error) {
    send(event("startedPresenting", textFrom(presentationID), textFrom(originalDocumentPath), textFrom(archive),
               structFrom(error)));
}

void DelegateEvents::stoppedPresenting(const std::optional<std::string>& presentationID, const ErrorPtr& error) {
    send(event("stoppedPresenting", textFrom(presentationID), structFrom(error)));
}

void DelegateEvents::slideDeckPresentedSlide(const std::optional<std::string>& presentationID,
                                             std::int64_t presentedSlide, Date at,
                                             const std::optional<std::filesystem::path>& imageFilePathURL) {
    send(event("slideDeckPresentedSlide", textFrom(presentationID), presentedSlide, microsecondsFrom(at),
               textFrom(imageFilePathURL)));
}

void DelegateEvents::extractedSlideFilesForPresentation(const std::string& path, const ErrorPtr& withError) {
    send(event("extractedSlideFilesForPresentation", validUTF8(path), structFrom(withError)));
}

void DelegateEvents::savedArchiveDocuments() {
    send(event("savedArchiveDocuments"));
}

void DelegateEvents::failedToSaveArchiveDocumentError(const ErrorPtr& error) {
    send(event("failedToSaveArchiveDocumentError", structFrom(error)));
}

void DelegateEvents::detectedKeynoteLaunched() {
    send(event("detectedKeynoteLaunched"));
}

void DelegateEvents::detectedKeynoteTerminated() {
    send(event("detectedKeynoteTerminated"));
}

Handle serveDelegate(Connection& connection, KeynoteCaptureServiceDelegate& delegate,
                     std::function<bool(const std::string& caller)> mayCall) {
    return translated([&] { return std::make_unique<DelegateObject>(connection, delegate, std::move(mayCall)); });
}

}  // namespace bus
