// The audit trail: one line per change to the catalogue or an account, and per refused login.
#ifndef ANADATA_SERVER_AUDITLOG_H
#define ANADATA_SERVER_AUDITLOG_H

#include <mutex>
#include <string>

class AuditLog {
public:
    // Writes to standard error.
    AuditLog() = default;
    // Appends to path (created 0600 when missing). Throws ServiceError.
    explicit AuditLog(const std::string& path);
    ~AuditLog();
    AuditLog(const AuditLog&) = delete;
    AuditLog& operator=(const AuditLog&) = delete;

    // "TIME EVENT account=ACCOUNT client=CLIENT" and the details, each value escaped, as one write.
    void record(const char* event, const std::string& account, const std::string& client,
                const std::string& details = std::string());

    // " data=NAME shot=N sub=N", for the details.
    static std::string dataSet(const std::string& name, int shot, int sub);
    // The value with bytes outside '!'..'~' and '%' written as %XX, so that a line splits on blanks;
    // a value longer than 255 bytes is cut there and marked with a final "%..".
    static std::string escape(const std::string& value);

private:
    std::mutex mutex_;
    int fd_ = 2;
};

#endif
