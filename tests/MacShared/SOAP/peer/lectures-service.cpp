// Serves lectures.gsoap on a port of the loopback interface that it prints; a thread for each connection.

#include "lectures.nsmap"
#include "lecturesH.h"

#include <netinet/in.h>
#include <csignal>
#include <cstdlib>
#include <iostream>
#include <thread>

int ns__Describe(soap* /*soap*/, char* title, ns__Integer* count, double length, ns__Identifier* id,
                 ns__DescribeResponse* response) {
    auto& result = response->DescribeResult;
    result.title = title;
    result.twice = count == nullptr ? 0 : 2 * count->int_;
    result.length = length;
    result.guid = id == nullptr ? nullptr : id->guid;
    return SOAP_OK;
}

int ns__Fail(soap* soap, char* reason, ns__FailResponse* /*response*/) {
    return soap_sender_fault(soap, reason, nullptr);
}

int ns__Store(soap* /*soap*/, xsd__base64Binary data, ns__StoreResponse* response) {
    auto& receipt = response->StoreResult;
    receipt.length = data.__size;
    for (int i = 0; i < data.__size; ++i) {
        receipt.checksum += static_cast<unsigned>(data.__ptr[i]) * static_cast<unsigned>(i + 1);
    }
    return SOAP_OK;
}

namespace {

int portOf(int socket) {
    sockaddr_in address{};
    socklen_t length = sizeof address;
    getsockname(socket, reinterpret_cast<sockaddr*>(&address), &length);
    return ntohs(address.sin_port);
}

}  // namespace

int main() {
    std::signal(SIGPIPE, SIG_IGN);
    // Callers know element names without prefixes.
    soap* const listener = soap_new1(SOAP_IO_KEEPALIVE | SOAP_XML_DEFAULTNS | SOAP_ENC_MTOM);
    listener->max_keep_alive = 0;  // as many calls as they like
    if (!soap_valid_socket(soap_bind(listener, "127.0.0.1", 0, 100))) return EXIT_FAILURE;
    std::cout << portOf(listener->master) << std::endl;
    while (soap_valid_socket(soap_accept(listener))) {
        std::thread([connection = soap_copy(listener)] {
            soap_serve(connection);
            soap_destroy(connection);
            soap_end(connection);
            soap_free(connection);
        }).detach();
    }
    return EXIT_FAILURE;
}
