// The session's experiment-log calls: the column names, one shot's row, one value of it.
#include "session_impl.h"

namespace anadata {

std::vector<std::string> Session::explogColumns() const {
    std::vector<std::string> out;
    impl_->call("experiment-log columns", [&](detail::ServiceCalls& calls) { calls.explogColumns(out); });
    return out;
}

// A lookup by shot or column has no other refusal than that the key is unknown (not_found).
std::vector<std::string> Session::explogRow(int shot) const {
    std::vector<std::string> out;
    impl_->call("experiment log of shot " + std::to_string(shot),
                [&](detail::ServiceCalls& calls) { calls.explogRow(shot, out); });
    return out;
}

std::string Session::explogValue(int shot, const std::string& column) const {
    std::string out;
    impl_->call("experiment log of shot " + std::to_string(shot) + ", column " + column,
                [&](detail::ServiceCalls& calls) { calls.explogValue(shot, column.c_str(), out); });
    return out;
}

}  // namespace anadata
