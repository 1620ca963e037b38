// A program with a gSOAP client (and service) of its own that also fetches through the library.
//
// The program's runtime, serializers and namespace table live in the executable; the library
// carries its own. Each side must keep reaching its own: the echo call would fail if the library
// had taken over the runtime's callbacks, and the fetch if the program's table had replaced the
// library's.
#include <cstdio>
#include <cstring>
#include <string>
#include <thread>

#include "anadata.h"
#include "echo.nsmap"
#include "soapH.h"

int e__echo(struct soap* soap, char* text, char*& reply) {
    reply = soap_strdup(soap, (std::string("echo: ") + (text ? text : "")).c_str());
    return SOAP_OK;
}

namespace {

bool echoOnce(const std::string& url, const char* text) {
    struct soap client;
    soap_init(&client);
    char* reply = nullptr;
    bool ok = soap_call_e__echo(&client, url.c_str(), nullptr, const_cast<char*>(text), reply) == SOAP_OK &&
              reply != nullptr && std::string(reply) == std::string("echo: ") + text;
    if (!ok) soap_print_fault(&client, stderr);
    soap_destroy(&client);
    soap_end(&client);
    soap_done(&client);
    return ok;
}

}  // namespace

int main() {
    struct soap server;
    soap_init(&server);
    server.bind_flags = SO_REUSEADDR;
    if (!soap_valid_socket(soap_bind(&server, "127.0.0.1", 0, 4))) {
        soap_print_fault(&server, stderr);
        return 1;
    }
    struct sockaddr_in bound;
    socklen_t length = sizeof bound;
    getsockname(server.master, reinterpret_cast<struct sockaddr*>(&bound), &length);
    const std::string url = "http://127.0.0.1:" + std::to_string(ntohs(bound.sin_port)) + "/";
    // Two echo calls, one on each side of the fetch.
    std::thread serving([&server] {
        for (int i = 0; i < 2; ++i)
            if (soap_valid_socket(soap_accept(&server))) {
                soap_serve(&server);
                soap_destroy(&server);
                soap_end(&server);
            }
    });

    bool ok = echoOnce(url, "before");
    try {
        qx::AnaData rec = qx::AnaData::retrieve("sample", 1234, 1, false);
        if (std::strcmp(rec.getDiagnostics(), "sample") != 0 || rec.getValSize() != 15) {
            std::fprintf(stderr, "fetched the wrong data set\n");
            ok = false;
        }
    } catch (const qx::clsException& e) {
        std::fprintf(stderr, "fetch through the library failed: %s\n", e.getMessage());
        ok = false;
    }
    ok = echoOnce(url, "after") && ok;
    serving.join();
    soap_done(&server);
    return ok ? 0 : 1;
}
