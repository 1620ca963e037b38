// A throwaway certificate authority made with the openssl command, and a server certificate it signed
// (for 127.0.0.1 and localhost unless told otherwise); the files live in the caller's directory.
#ifndef ANADATA_TEST_TESTAUTHORITY_H
#define ANADATA_TEST_TESTAUTHORITY_H

#include <cstdlib>
#include <fstream>
#include <string>

struct TestAuthority {
    std::string ca, certificate, key;  // PEM files
    bool made = false;

    // name tells the files of several authorities in one directory apart; names are what the server
    // certificate is valid for.
    TestAuthority(const std::string& dir, const std::string& name = "ca",
                  const std::string& names = "IP:127.0.0.1,DNS:localhost") {
        std::string base = dir + "/" + name;
        ca = base + ".pem";
        certificate = base + "-server.pem";
        key = base + "-server.key";
        std::ofstream(base + ".ext") << "subjectAltName=" << names << "\n";
        made = run("openssl req -x509 -newkey rsa:2048 -nodes -days 1 -subj /CN=" + name + " -keyout " + base +
                   ".key -out " + ca) &&
               run("openssl req -newkey rsa:2048 -nodes -subj /CN=127.0.0.1 -keyout " + key + " -out " + base +
                   ".csr") &&
               run("openssl x509 -req -days 1 -in " + base + ".csr -CA " + ca + " -CAkey " + base +
                   ".key -CAcreateserial -extfile " + base + ".ext -out " + certificate);
    }

private:
    static bool run(const std::string& command) {
        return std::system((command + " >/dev/null 2>&1").c_str()) == 0;
    }
};

#endif
