// The namespace table of the service, which the gSOAP runtime looks up by the global name "namespaces".
#include "soapH.h"
#include "tavolen.nsmap"
