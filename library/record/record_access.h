// Internal access to the record's fields for the file-format readers, which build columns in place.
#ifndef ANADATA_RECORD_ACCESS_H
#define ANADATA_RECORD_ACCESS_H

#include <map>
#include <string>
#include <vector>

#include "anadata.h"

namespace qx {

struct RecordAccess {
    // A DimType that takes ownership of `data` (allocated with new[], `num` entries).
    static DimType adopt(std::string name, std::string unit, int num, double* data);

    static std::vector<DimType>& dims(AnaData& rec) { return rec.dims; }
    static std::vector<DimType>& vals(AnaData& rec) { return rec.vals; }
    static const std::vector<DimType>& dims(const AnaData& rec) { return rec.dims; }
    static const std::vector<DimType>& vals(const AnaData& rec) { return rec.vals; }
    static std::vector<int>& factor(AnaData& rec) { return rec.factor; }
    static const std::vector<int>& factor(const AnaData& rec) { return rec.factor; }
    static std::map<std::string, int>& dimMap(AnaData& rec) { return rec.dimMap; }
    static std::map<std::string, int>& valMap(AnaData& rec) { return rec.valMap; }
    static const std::map<std::string, int>& dimMap(const AnaData& rec) { return rec.dimMap; }
    static const std::map<std::string, int>& valMap(const AnaData& rec) { return rec.valMap; }
    static int& declaredDims(AnaData& rec) { return rec.dimNo; }
    static int& declaredVals(AnaData& rec) { return rec.valNo; }
    static int declaredDims(const AnaData& rec) { return rec.dimNo; }
    static int declaredVals(const AnaData& rec) { return rec.valNo; }
    static void invalidateFactor(AnaData& rec) { rec.factorValid = false; }
    static void setComment(AnaData& rec, std::string text) { rec.comment = std::move(text); }
};

}  // namespace qx

#endif
