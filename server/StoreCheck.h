// The store checked against its catalogue for an operator: what is missing, damaged or left over, and what --repair does about it.
#ifndef ANADATA_SERVER_STORECHECK_H
#define ANADATA_SERVER_STORECHECK_H

#include <ostream>

class Catalogue;
class Store;

// Exit statuses of --check-store.
constexpr int kStoreConsistent = 0;
constexpr int kStoreProblems = 2;  // findings that remain (after --repair: those it cannot mend)

// Reports, one line each on out, every catalogued file that is missing (or not a regular file),
// every one whose size differs from the catalogue's, and every stray (staging file, data file or
// directory the catalogue does not know), then a summary line. Without repair nothing changes. With
// repair, strays are removed and the rows of missing files dropped; a file of the wrong size is left
// as it is, its bytes may still matter to someone. Returns kStoreConsistent or kStoreProblems.
// Throws ServiceError when the store cannot be read.
int checkStore(const Store& store, Catalogue& catalogue, bool repair, std::ostream& out);

#endif
