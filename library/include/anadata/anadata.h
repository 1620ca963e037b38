// The analysed-data record qx::AnaData, its columns qx::DimType, and its text and dump formats.
#ifndef ANADATA_ANADATA_H
#define ANADATA_ANADATA_H

#include <iosfwd>
#include <map>
#include <string>
#include <vector>

#include "TavolenInfo.h"
#include "anadata_export.h"
#include "clsException.h"

namespace qx {

struct RecordAccess;

// One dimension (grid axis) or one value column: name, unit and `num` doubles.
// Copies share the numbers through a counted array; the last copy to go frees it. The count is
// changed atomically, so copies of one column may be made, assigned and destroyed on different
// threads at once; the numbers themselves are not guarded (a write through getData() is a data
// race with any other thread reading a copy).
class ANADATA_API DimType {
public:
    // Empty name and unit, no numbers, null data.
    DimType();
    // Copies `num` doubles from `data` (which may be null only when num is 0).
    DimType(std::string name, std::string unit, int num, const double* data);
    // Shares the other's array; never copies numbers.
    DimType(const DimType& other);
    DimType& operator=(const DimType& other);
    ~DimType();

    // Name and unit; valid while this object is unchanged.
    const char* getName() const;
    const char* getUnit() const;
    int getNum() const;
    // The shared array (null for a default DimType). Writes are seen by every copy.
    double* getData() const;

    // Writes name, unit, num and the numbers in the dump encoding.
    void dump(std::ostream& os) const;
    // Reads one DimType in the dump encoding. A truncated or impossible image leaves the
    // stream failed and returns what was read so far (never more numbers than it holds).
    static DimType restore(std::istream& is);

private:
    friend struct RecordAccess;
    void release();

    std::string name;
    std::string unit;
    int num;
    int* refCount;
    double* data;
};

// Holder of one data row while the text reader parses it: the row's dimension coordinates,
// then its values.
class ANADATA_API strDimVal {
public:
    strDimVal() = default;
    strDimVal(const strDimVal&) = default;
    strDimVal& operator=(const strDimVal&) = default;
    ~strDimVal() = default;

    std::vector<double> dimVal;
    std::vector<double> valVal;
};

// One analysed-data set: parameters, dimensions and value columns over a row-major grid
// (last dimension fastest). Every failed check throws AnaDataException with a fixed message
// and leaves the record as it was.
// Threads: distinct records, copies of one another included, may be used on different threads at
// once. One record object may be read through its const members by many threads; any other member
// (index and getValData(int*, ...) fill a cache of strides) needs the object to itself.
class ANADATA_API AnaData {
public:
    // Empty record, shot and sub-shot number 1, no dimensions or values.
    AnaData();
    // Record with dimNo default dimensions and valNo default values (negative counts give 0).
    AnaData(int dimNo, int valNo);
    // Copies share every numeric array with the source.
    AnaData(const AnaData& other);
    AnaData& operator=(const AnaData& other);
    ~AnaData();

    // Empties the record; shot and sub-shot number become 0.
    void clear();

    void setShotNo(int shotNo);
    int getShotNo() const;
    void setSubNo(int subNo);
    // The sub-shot number.
    int getSubNo() const;
    void setDiagnostics(const char* name);
    // The data-set name; valid while the record's name is unchanged.
    const char* getDiagnostics() const;
    void setDate(const char* date);
    // Sets the date to the current local time as "MM/DD/YYYY hh:mm".
    void setDate();
    const char* getDate() const;
    // Appends the text and a line feed to the comment.
    void addComment(const char* text);
    const char* getComment() const;

    int getDimNo() const;
    int getValNo() const;

    // Positional getters; an index outside the list throws "<getter> out of range"
    // (for example "getDimName out of range"). Returned strings stay valid while the
    // record and the element are unchanged; data pointers point into the shared array.
    const char* getDimName(int i) const;
    const char* getDimUnit(int i) const;
    int getDimSize(int i) const;
    double* getDimData(int i) const;
    const char* getValName(int i) const;
    const char* getValUnit(int i) const;
    double* getValData(int i) const;
    // Product of all dimension sizes; 1 without dimensions.
    int getValSize() const;

    // Copy `size` numbers into slot i under the given name; an index outside the list throws
    // "setDim out of range" / "setVal out of range". A replaced name keeps resolving to i.
    void setDim(int i, const char* name, const char* unit, int size, const double* data);
    void setVal(int i, const char* name, const char* unit, int size, const double* data);

    // Index of the named column; an unknown name throws "Invalid Dim Name" / "Invalid Val Name".
    int getDimIndex(const char* name) const;
    int getValIndex(const char* name) const;
    int getDimSize(const char* name) const;
    const char* getDimUnit(const char* name) const;
    double* getDimData(const char* name) const;
    const char* getValUnit(const char* name) const;
    double* getValData(const char* name) const;

    // Recomputes the strides of the grid.
    void calc_factor();
    // Flat position of the grid point idx (one index per dimension); nothing is range-checked.
    int index(int* idx);
    // Copies the line of value `val` along dimension `dim` through point idx into out
    // (getDimSize(dim) numbers). Writes idx[dim]. Nothing is range-checked.
    void getValData(int* idx, int dim, int val, double* out);
    // The same line, with getDimNo()-1 dimensions fixed by name at dimIdx; reads along the
    // lowest-numbered dimension left out. Throws "Invalid Dim Name" / "Invalid Val Name".
    void getValData(const char** dimNames, const int* dimIdx, const char* valName, double* out);

    // Format of the stream: 1 dump, 0 text (first byte '#'), 2 anything else (also a stream
    // shorter than four bytes). The stream is left positioned where it was.
    static int checkHeader(std::istream& is);
    // Writes the whole record in the dump format.
    void dump(std::ostream& os) const;
    // Reads a dumped record. Throws "It doesn't seem like an AnaData file." on a wrong magic
    // number. A truncated or corrupt image leaves the stream failed; check it afterwards.
    static AnaData restore(std::istream& is);

    // --- Operations on the analysed-data service (settings from the settings file) ---

    // Fetches the data set (diag, shot, subshot) through a temporary file "/tmp/tempXXXXXX" and
    // returns it as a new record (sub-shot 0: the text format carries none); the temporary file
    // is removed on every path. Throws AnaDataException "Not found." when the download fails or
    // no temporary file can be made, and the text reader's exceptions when the downloaded file
    // is no valid data file (an empty one included); a downloaded file that cannot be opened, or an archive that does
    // not unpack (nothing extracted), gives a default record.
    // With keepArchive true the reader meets the zip archive itself (callers pass false).
    static AnaData retrieve(const char* diag, int shot, int subshot, bool keepArchive);
    // Registers the existing data file `path` under (diag, shot, subshot) with the account
    // user/pass (null reads as empty), which replaces the configured account for the rest of
    // the process. Its header summary travels as the registration summary. Throws
    // AnaDataException "Data File Error" when the header cannot be read (see getSummary) and
    // "Registration Failed\n" when the service refuses or the transfer fails.
    static void regist(const char* diag, int shot, int subshot, const char* path,
                       const char* user, const char* pass);
    // Registers this record with the configured account: writes it in the text format to
    // "/tmp/<name>@<shot>[-<subshot>].dat", prints "ok" (or "false" when that file cannot be
    // created) on standard output, uploads it and removes the file. Returns true when the
    // service accepted it. Never throws AnaDataException.
    bool regist();
    // Deletes the data set with the account user/pass (kept for the rest of the process).
    // Throws AnaDataException "Not found." when the service does not delete it.
    static void erase(const char* diag, int shot, int subshot, const char* user,
                      const char* pass);
    // Searches the catalogue (arguments as clsAnaDataAccess::Search) and appends the hits to
    // out. Throws AnaDataException "Not found." when the search fails.
    static void search(std::vector<std::string> diags, int lower, int higher, int subshot,
                       const char* userFilter, int limit, std::vector<TavolenInfo>& out);
    // Fetches the data file to `path`. A null path leaves it in the current directory under the
    // service's file name (less ".zip"). Otherwise the download goes to the directory that holds
    // path (the text before its last '/', "." when it has none) and is then moved onto path,
    // replacing an existing file there; when path names a directory, the file stays next to it
    // under the service's name and "File Cannot Movie." is thrown. Throws AnaDataException "Not found." when
    // the download fails (a missing directory included) and "File Cannot Movie." when the file
    // cannot be moved to path.
    static void getFile(const char* diag, int shot, int subshot, const char* path,
                        bool keepArchive);

private:
    friend struct RecordAccess;

    int shotNo;
    int subNo;
    std::string date;
    std::string diagnostics;
    std::string comment;
    int dimNo;
    int valNo;
    std::vector<DimType> dims;
    std::vector<DimType> vals;
    std::vector<int> factor;
    std::map<std::string, int> dimMap;
    std::map<std::string, int> valMap;
    bool factorValid;
};

// Writes the record in the text format (CR LF line ends, numbers in scientific notation at the
// stream's precision). Throws "ValNo Error" for a record without values and "Datasize error"
// when a value column holds fewer numbers than the grid. Returns the stream.
ANADATA_API std::ostream& operator<<(std::ostream& os, const AnaData& rec);
// Reads one record in the text format and assigns it to rec; on an error rec is unchanged.
// Throws AnaDataException: "NAME parameter error", "ShotNo parameter error",
// "Date parameter error", "DimNo Error", "ValNo Error", "Datasize error". A header ending
// before any data marker leaves rec unchanged without error. After a data block the stream
// is at its end (eofbit set, failbit clear). Returns the stream.
ANADATA_API std::istream& operator>>(std::istream& is, AnaData& rec);

// The text after the first '=' of a header line, blanks trimmed; with unquote also "'"
// trimmed and then blanks again. Empty without '='.
ANADATA_API std::string pickup(const std::string& line, bool unquote);
// The quoted items of a header line; an empty item comes back as " ".
ANADATA_API std::vector<std::string> pickup_strings(const std::string& line);
// The comma-separated integers of a header line (atoi of each piece).
ANADATA_API std::vector<int> pickup_sizes(const std::string& line);
// Parses a data block (rows of comma-separated numbers) into rec's dimensions and values.
// Throws "Datasize error" when it holds fewer rows than the product of the sizes.
ANADATA_API void dimval_set(AnaData& rec, const std::string& data, const std::vector<int>& sizes,
                            const std::vector<std::string>& dimNames,
                            const std::vector<std::string>& dimUnits,
                            const std::vector<std::string>& valNames,
                            const std::vector<std::string>& valUnits);
// Remove every occurrence of c from both ends / the start / the end; return s.
ANADATA_API std::string& trim(std::string& s, int c = ' ');
ANADATA_API std::string& ltrim(std::string& s, int c = ' ');
ANADATA_API std::string& rtrim(std::string& s, int c = ' ');
// Removes every trailing CR and LF; returns s.
ANADATA_API std::string& chop(std::string& s);
// Case-insensitive strchr: first position of c in s, the terminator for c == 0, or null.
ANADATA_API const char* strchri(const char* s, int c);
// Case-insensitive strstr: first match of key in s (s itself for an empty key), or null.
ANADATA_API const char* strstri(const char* s, const char* key);

// Dump encoders: little-endian ints, length-prefixed zero-terminated strings, counted lists.
ANADATA_API void dump(std::ostream& os, int value);
ANADATA_API void dump(std::ostream& os, const std::string& s);
ANADATA_API void dump(std::ostream& os, const double* data, int n);
ANADATA_API void dump(std::ostream& os, const std::vector<int>& list);
ANADATA_API void dump(std::ostream& os, const std::vector<std::string>& list);
ANADATA_API void dump(std::ostream& os, const std::map<std::string, int>& map);
ANADATA_API void dump(std::ostream& os, const std::vector<DimType>& list);

// Dump decoders. None allocates more than the rest of the stream could hold: a negative count
// or one the input cannot satisfy sets the stream's failbit and stops (returning what was read;
// a missing int reads as 0).
ANADATA_API int read_int(std::istream& is);
ANADATA_API std::string read_string(std::istream& is);
// Reads a stored count n and n doubles into out, which must have room for n. Returns n, or -1
// (failbit set, nothing stored) when n is negative or more than the stream holds.
ANADATA_API int read_double_array(std::istream& is, double* out);
ANADATA_API std::vector<int> read_int_array(std::istream& is);
ANADATA_API std::vector<std::string> read_string_array(std::istream& is);
ANADATA_API std::map<std::string, int> read_hash(std::istream& is);
ANADATA_API std::vector<DimType> read_dim_array(std::istream& is);

}  // namespace qx

#endif
