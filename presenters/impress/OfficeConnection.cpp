#include "presenters/impress/OfficeConnection.h"

#include "presenters/impress/EndListener.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <charconv>
#include <com/sun/star/bridge/BridgeFactory.hpp>
#include <com/sun/star/connection/ConnectionSetupException.hpp>
#include <com/sun/star/connection/Connector.hpp>
#include <com/sun/star/connection/NoConnectException.hpp>
#include <com/sun/star/lang/DisposedException.hpp>
#include <com/sun/star/lang/XComponent.hpp>
#include <cppuhelper/bootstrap.hxx>
#include <filesystem>
#include <osl/module.hxx>
#include <rtl/bootstrap.hxx>
#include <thread>

namespace impress {

namespace {

/// The office's libraries by themselves know only their own types; those of documents and shows lie beside them.
void addOfficeTypes() {
    rtl::OUString library;
    osl::Module::getUrlFromAddress(reinterpret_cast<oslGenericFunction>(cppu::bootstrap), library);
    const rtl::OUString types = library.copy(0, library.lastIndexOf('/')) + "/types/offapi.rdb";
    rtl::Bootstrap::set("URE_MORE_TYPES", types);
}

Context ownContext() {
    // Once in a process: the libraries cannot be set up a second time.
    static const auto context = [] {
        addOfficeTypes();
        return cppu::defaultBootstrap_InitialComponentContext();
    }();
    return context;
}

/// Whether the socket's other end is the pipe with this name; the office puts the pipe into a folder of its choice.
bool isConnectedToPipe(int socket, const std::string& pipe) {
    sockaddr_un address{};
    socklen_t size = sizeof address;
    if (getpeername(socket, reinterpret_cast<sockaddr*>(&address), &size) != 0) return false;
    const std::string path(address.sun_path, strnlen(address.sun_path, sizeof address.sun_path));
    return address.sun_family == AF_UNIX && path.find("OSL_PIPE_") != std::string::npos && path.ends_with("_" + pipe);
}

/// Who listens on the pipe to which this process is connected; process and user 0 and -1 when nobody can tell.
ucred listenerOf(const std::string& pipe) {
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd", error)) {
        const std::string name = entry.path().filename();
        int descriptor = -1;
        std::from_chars(name.data(), name.data() + name.size(), descriptor);
        if (descriptor < 0 || !isConnectedToPipe(descriptor, pipe)) continue;
        ucred credentials{};
        socklen_t size = sizeof credentials;
        if (getsockopt(descriptor, SOL_SOCKET, SO_PEERCRED, &credentials, &size) == 0) return credentials;
    }
    return {0, static_cast<uid_t>(-1), static_cast<gid_t>(-1)};
}

}  // namespace

std::optional<OfficeConnection> OfficeConnection::attach(const std::string& pipe) {
    const auto own = ownContext();
    OfficeConnection office;
    try {
        const auto connector = css::connection::Connector::create(own);
        const auto connection = connector->connect(unoText("pipe,name=" + pipe));
        // Now, while the connection is sure to be open; the office itself tells no process identifier.
        const auto listener = listenerOf(pipe);
        // Pipes lie where every user of the computer may make one, also under the name of another user's.
        if (listener.pid != 0 && listener.uid != geteuid()) return std::nullopt;
        office.processIdentifier_ = listener.pid;
        office.bridge_ = css::bridge::BridgeFactory::create(own)->createBridge({}, "urp", connection, nullptr);
        office.context_.set(office.bridge_->getInstance("StarOffice.ComponentContext"), UNO_QUERY);
    } catch (const css::connection::NoConnectException&) {
        return std::nullopt;
    } catch (const css::connection::ConnectionSetupException&) {
        return std::nullopt;
    } catch (const css::lang::DisposedException&) {
        return std::nullopt;
    }
    if (!office.context_.is()) return std::nullopt;
    return office;
}

std::optional<OfficeConnection> OfficeConnection::attachWithin(const std::string& pipe, std::chrono::seconds patience) {
    const auto deadline = std::chrono::steady_clock::now() + patience;
    for (;;) {
        if (auto office = attach(pipe)) return office;
        if (std::chrono::steady_clock::now() >= deadline) return std::nullopt;
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
}

void OfficeConnection::observeLoss(std::function<void()> onLost) const {
    const Reference<css::lang::XComponent> bridge(bridge_, UNO_QUERY_THROW);
    bridge->addEventListener(new EndListener(std::move(onLost)));
}

}  // namespace impress
