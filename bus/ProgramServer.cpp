#include "bus/ProgramServer.h"

#include "bus/Connection.h"
#include "bus/Names.h"
#include "bus/PresentationProgramAdaptor.h"
#include "bus/ProgramValues.h"
#include "bus/Sdbus.h"
#include "ports/CaptureNames.h"

#include <cctype>
#include <utility>

namespace bus {
namespace {

Path targetFrom(const std::string& url) {
    const auto path = pathFromURL(url);
    if (!path) throw refusal("Not a file URL: \"" + url + "\"; pass one like file:///home/me/slides.");
    return *path;
}

/// The answer of a call whose values travel as they are.
template <typename... Values>
Answer<Values...> answerOf(sdbus::Result<Values...>&& result) {
    // Silence when nobody answers: a program that hangs is seen by its caller as one that hangs.
    return Answer<Values...>(sender(std::move(result), kProgramFailed));
}

template <typename... Values, typename Work>
void serve(const Answer<Values...>& answer, const Work& work) {
    if (const auto failure = failureOf(kProgramFailed, [&] { work(answer); })) answer.refuse(*failure);
}

class ProgramObject final : private sdbus::AdaptorInterfaces<com::veldrin::PresentationProgram_adaptor>,
                            public ProgramServer {
public:
    ProgramObject(Connection& connection, Program& program)
        : AdaptorInterfaces(connection.library(), sdbus::ObjectPath(kProgramPath)), program_(program) {
        departures_ =
            connection.watchNames("arg2=''", [this](const auto& caller, const auto&) { program_.callerLeft(caller); });
        // Last, because calls may come from here on.
        registerAdaptor();
    }
    ~ProgramObject() override { unregisterAdaptor(); }

    void announceProcessIdentifier() override {
        translated([this] {
            getObject().emitPropertiesChangedSignal(InterfaceName(kProgramInterface),
                                                    {MemberName("ProcessIdentifier")});
        });
    }

private:
    using WindowStructs = std::vector<WindowStruct>;
    using SlideStructs = std::vector<SlideStruct>;
    using Numbers = std::vector<std::int64_t>;

    void presentingState(sdbus::Result<Dictionary>&& result) override {
        const auto send = [send = sender(std::move(result), kProgramFailed)](const Failure* refusal,
                                                                             const PresentingState& state) {
            send(refusal, dictionaryFrom(state));
        };
        serve(Answer<PresentingState>(send), [this](const auto& answer) { program_.presentingState(answer); });
    }
    void windows(sdbus::Result<WindowStructs>&& result) override {
        const auto send = [send = sender(std::move(result), kProgramFailed)](
                              const Failure* refusal, const std::vector<ScriptingWindow>& windows) {
            send(refusal, structsFrom(windows));
        };
        serve(Answer<std::vector<ScriptingWindow>>(send), [this](const auto& answer) { program_.windows(answer); });
    }
    void activate(sdbus::Result<>&& result) override {
        serve(answerOf(std::move(result)), [this](const auto& answer) { program_.activate(answer); });
    }
    void open(sdbus::Result<std::string>&& result, std::string pathURL) override {
        serve(answerOf(std::move(result)),
              [&](const auto& answer) { program_.open(callerOf(getObject()), targetFrom(pathURL), answer); });
    }
    void close(sdbus::Result<>&& result, std::string documentID, std::string saving) override {
        serve(answerOf(std::move(result)), [&](const auto& answer) { program_.close(documentID, saving, answer); });
    }
    void slideNumbers(sdbus::Result<Numbers>&& result, std::string documentID) override {
        serve(answerOf(std::move(result)), [&](const auto& answer) { program_.slideNumbers(documentID, answer); });
    }
    void documentText(sdbus::Result<std::string, SlideStructs>&& result, std::string documentID) override {
        const auto send = [send = sender(std::move(result), kProgramFailed)](const Failure* refusal,
                                                                             ScriptingDocumentText text) {
            send(refusal, text.name, structsFrom(std::move(text.slides)));
        };
        serve(Answer<ScriptingDocumentText>(send),
              [&](const auto& answer) { program_.documentText(documentID, answer); });
    }
    void save(sdbus::Result<>&& result, std::string documentID, std::string targetURL) override {
        serve(answerOf(std::move(result)),
              [&](const auto& answer) { program_.save(documentID, targetFrom(targetURL), answer); });
    }
    void stop(sdbus::Result<>&& result, std::string documentID) override {
        serve(answerOf(std::move(result)), [&](const auto& answer) { program_.stop(documentID, answer); });
    }
    void export_(sdbus::Result<>&& result, std::string documentID, std::string targetURL, std::string format,
                 Dictionary properties) override {
        serve(answerOf(std::move(result)), [&](const auto& answer) {
            program_.exportTo(documentID, targetFrom(targetURL), format, exportPropertiesFrom(properties), answer);
        });
    }

    uint32_t ProcessIdentifier() override { return program_.processIdentifier(); }
    std::string BundleIdentifier() override { return kKeynoteBundleIdentifier; }
    std::string BundleURL() override {
        const auto bundle = program_.bundle();
        return bundle.empty() ? std::string() : urlFromPath(bundle);
    }
    std::string Version() override {
        try {
            return program_.version();
        } catch (const Failure& failure) {
            // A property has no answer that could be given later; the library sends what is thrown.
            throw sdbus::Error(ErrorName(failure.name()), failure.what());
        }
    }

    Program& program_;
    Handle departures_;
};

}  // namespace

Failure refusal(const std::string& sentence) {
    return {kProgramFailed, sentence};
}

std::string instanceName(std::int64_t number) {
    // The name must differ for each process: several programs may run at a time.
    return kKeynoteBundleIdentifier + (kInstanceInfix + std::to_string(number));
}

std::string bridgeName(const std::string& pipe) {
    std::string name = kBridgeName;
    if (pipe == kBridgePipe) return name;
    name += ".pipe_";
    for (const char character : pipe) {
        const auto byte = static_cast<unsigned char>(character);
        name += std::isalnum(byte) != 0 ? std::string(1, character) : "_" + std::to_string(byte) + "_";
    }
    return name;
}

std::unique_ptr<ProgramServer> ProgramServer::publish(Connection& connection, Program& program) {
    return translated([&] { return std::make_unique<ProgramObject>(connection, program); });
}

}  // namespace bus
