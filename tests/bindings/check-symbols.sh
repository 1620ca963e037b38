#!/bin/sh
# Checks that the library exports every C and Fortran entry point under its exact symbol, that
# the C++-linkage members are not also exported under plain names, and that nothing outside the
# documented interface is exported (no gSOAP runtime or stub symbol above all). The soapAnaData*
# family takes C++ types but must be exported unmangled all the same.
set -eu
lib="$1"
symbols=$(nm -D --defined-only "$lib" | awk '{print $3}')
status=0
for name in \
    cAnaDataNew cAnaDataRelease cAnaDataLoad cAnaDataSave cAnaDataGetShotnumber \
    cAnaDataGetSubnumber cAnaDataSetShotNumber cAnaDataSetSubnumber cAnaDataGetDate \
    cAnaDataSetDateNow cAnaDataSetdate cAnaDataGetDiagnostics cAnaDataSetDiagnostics_ \
    cAnaDataGetComment cAnaDataGetDimNo _Z17cAnaDataGetValnNoiPi cAnaDataGetDimName \
    cAnaDataGetDimUnit cAnaDataGetDimUnit2 cAnaDataGetValName cAnaDataGetValUnit \
    cAnaDataGetValUnit2 cAnaDataGetDimSize cAnaDataGetDimSize2 cAnaDataGetValSize \
    cAnaDataGetDimData cAnaDataGetDimData2 cAnaDataGetValData cAnaDataGetValData2 \
    cAnaDataSetDimData cAnaDataSetValData cAnaDataIsDigit \
    g77anadatanew_ g77anadatarelease_ g77anadataload_ g77anadatasave_ \
    g77anadatagetshotnumber_ g77anadatagetsubnumber_ g77anadatasetshotnumber_ \
    g77anadatasetsubnumber_ g77anadatagetdate_ g77anadatasetdate_ g77anadatasetdatenow_ \
    g77anadatagetdiagnostics_ g77anadatasetdiagnostics_ _Z21g77anadatagetcomment_PiPci \
    g77anadatagetdimno_ g77anadatagetvalno_ g77anadatagetdimname_ g77anadatagetvalname_ \
    g77anadatagetdimunit_ g77anadatagetvalunit_ g77anadatagetdimunit2_ g77anadatagetvalunit2_ \
    g77anadatagetdimsize_ g77anadatagetdimsize2_ g77anadatagetvalsize_ g77anadatagetdimdata_ \
    g77anadatagetdimdata2_ _Z21g77anadatagetvaldata_PiPdS_ g77anadatagetvaldata2_ \
    g77anadatasetdimdata_ g77anadatasetvaldata_ \
    cAnaDataRetrieve cAnaDataRegist cAnaDataRegistFile cAnaDataGet cAnaDataDelete \
    cAnaDataSearch cAnaDataGetNumEntry cAnaDataGetDiagEntry cAnaDataGetNumRow cAnaDataGetRow \
    cAnaDataReleaseResultSet cAnaDataGetDirName cAnaDataGetFileName cAnaDataThe_date \
    cAnaDataGetPage cAnaDataGetLimit cAnaDataDispSummary cAnaDataGetSummary cExploGetValue \
    cExplogGetColumnNames _Z18cExplogGetColumnNoPi \
    g77anadataregist_ g77anadataretrieve_ g77exploggetcolumnno_ g77exploggetcolumnnames_ \
    g77exploggetvalue_ \
    soapAnaDataAccessNew soapAnaDataAccessRelease soapAnaDataGet soapAnaDataRegist \
    soapAnaDataDelete soapAnaDataSearch soapAnaDataGetDiagnostics soapAnaDataGetNumEntry \
    soapAnaDataGetDiagEntry soapAnaDataGetExplogColNames soapAnaDataGetExplogColValues \
    soapAnaDataGetExplogColValue soapAnaDataChgPass soapAnaDataGetPage soapAnaDataGetLimit \
    soapAnaDataGetBaseDir soapAnaDataThe_date soapAnaDataIsDigit soapAnaDataMoveFile \
    soapAnaDataGetDirName soapAnaDataGetFileName soapAnaDataUnzip soapAnaDataMinizip \
    soapAnaDataDispSummary soapAnaDataGetSummary anadata_version cAnaDataLastError g77anadatalasterror_
do
    if ! printf '%s\n' "$symbols" | grep -qx "$name"; then
        echo "missing export: $name"
        status=1
    fi
done
for name in cAnaDataGetValnNo cAnaDataSetDiagnostics g77anadatagetcomment_ g77anadatagetvaldata_ \
    cExplogGetColumnNo; do
    if printf '%s\n' "$symbols" | grep -qx "$name"; then
        echo "unexpected export: $name"
        status=1
    fi
done
# Everything exported must belong to the interface: the qx:: and anadata:: classes and functions
# (with their type information), the C, Fortran and soapAnaData entry points, the splitter and the
# key/value functions.
outside=$(nm -D --defined-only -C "$lib" | cut -d' ' -f3- | grep -v -E \
    '^((typeinfo|typeinfo name|vtable) for )?(qx|anadata)::|^(cAnaData|cExplo|g77anadata|g77explog|soapAnaData)|^clsSeparater|^(typeinfo|typeinfo name) for clsSeparater$|^(loadHash|getValue|saveHash|escape)\(|^anadata_version$' \
    || true)
if [ -n "$outside" ]; then
    echo "exported outside the interface:"
    printf '%s\n' "$outside" | head -n 20
    status=1
fi
exit $status
