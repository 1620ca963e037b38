// The service's operations as the request layer tells them apart: their names, and how they may be treated.
#ifndef ANADATA_OPERATION_H
#define ANADATA_OPERATION_H

namespace anadata::detail {

// The operations clients make ("ns:getTavolenInfo" of the contract is made by none).
enum class Operation {
    dataPath,           // ns:getTavolenDataPath
    dataBlock,          // ns:getData
    beginRegistration,  // ns:beginTavolenDataRegistration
    putBlock,           // ns:putData
    endRegistration,    // ns:endTavolenDataRegistration
    abortRegistration,  // ns:abortTavolenDataRegistration
    deleteEntry,        // ns:delTavolenData
    listEntries,        // ns:listTavolenInfo
    names,              // ns:getDiagnostics
    nameCounts,         // ns:getDiagEntry
    shotCounts,         // ns:getNumEntry
    explogColumns,      // ns:getExplogColumnNames
    explogRow,          // ns:getExplogColumnValues
    explogValue,        // ns:getExplogColumnValue
    changePassword,     // ns:changePassword
};

struct OperationTraits {
    const char* name;  // the request element without its prefix ("getData")
    // Sending the request again changes nothing on the service: reads, and a block read at its offset.
    bool idempotent;
    // A lookup by key: a fault without a code of its own can only mean that the key is unknown.
    bool lookup;
};

const OperationTraits& traitsOf(Operation operation);

}  // namespace anadata::detail

#endif
