// The table of the operations' names and traits.
#include "Operation.h"

namespace anadata::detail {

const OperationTraits& traitsOf(Operation operation) {
    // In the order of the enumeration.
    static const OperationTraits traits[] = {
        {"getTavolenDataPath", true, true},
        {"getData", true, false},
        {"beginTavolenDataRegistration", false, false},
        {"putData", false, false},
        {"endTavolenDataRegistration", false, false},
        {"abortTavolenDataRegistration", false, false},
        {"delTavolenData", false, false},
        {"listTavolenInfo", true, false},
        {"getDiagnostics", true, false},
        {"getDiagEntry", true, false},
        {"getNumEntry", true, false},
        {"getExplogColumnNames", true, false},
        {"getExplogColumnValues", true, true},
        {"getExplogColumnValue", true, true},
        {"changePassword", false, false},
    };
    static_assert(sizeof traits / sizeof traits[0] == static_cast<int>(Operation::changePassword) + 1);
    return traits[static_cast<int>(operation)];
}

}  // namespace anadata::detail
