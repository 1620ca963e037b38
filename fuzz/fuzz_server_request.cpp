// libFuzzer target: the reference service answering one arbitrary request (HTTP head, envelope,
// every operation's arguments, the block decoder) against an empty store with an experiment log.
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <sstream>
#include <string>

#include <unistd.h>

#include "Catalogue.h"
#include "MessageLimits.h"
#include "Service.h"
#include "fuzz_gsoap_suppressions.h"
#include "soapH.h"

namespace {

// One store for the whole run, in /dev/shm, removed when libFuzzer exits.
struct Fixture {
    Fixture() {
        char pattern[] = "/dev/shm/fuzz-server-XXXXXX";
        if (!mkdtemp(pattern)) std::abort();
        dir = pattern;
        std::istringstream csv("shotno,date,energy\n1234,2009/03/07,1.5\n1235,2009/03/08,2.5\n");
        service = std::make_unique<Service>(dir + "/store", UploadLimits{}, ServiceLimits{},
                                            ExperimentLog::parse(csv));
        catalogue = std::make_unique<Catalogue>(service->store.cataloguePath());
        context = {service.get(), catalogue.get()};
    }
    ~Fixture() {
        catalogue.reset();
        service.reset();
        std::error_code ignored;
        std::filesystem::remove_all(dir, ignored);
    }
    std::string dir;
    std::unique_ptr<Service> service;
    std::unique_ptr<Catalogue> catalogue;
    RequestContext context{};
};

Fixture& fixture() {
    static Fixture f;
    return f;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // The operations find their context through the first member of what the user pointer points to.
    struct Holder {
        RequestContext* context;
    } holder{&fixture().context};
    std::istringstream in(std::string(reinterpret_cast<const char*>(data), size));
    std::ostringstream out;
    struct soap* soap = soap_new();
    limitIncomingMessages(soap, 1 << 20);
    soap->maxlevel = 32;
    soap->maxoccurs = 100000;
    soap->user = &holder;
    soap->is = &in;
    soap->os = &out;
    soap_serve(soap);
    soap_destroy(soap);
    soap_end(soap);
    soap_free(soap);
    return 0;
}
