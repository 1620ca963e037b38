// A second, unrelated SOAP contract: the client a host program brings along beside the library.
//gsoap e service name: echo
//gsoap e service style: rpc
//gsoap e service encoding: encoded
//gsoap e service namespace: urn:anadata-test-echo
//gsoap e service location: http://127.0.0.1/
int e__echo(char* text, char*& reply);
