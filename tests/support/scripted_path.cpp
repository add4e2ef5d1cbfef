#include "scripted_path.h"

#include "scripted_platform.h"
#include "tarn_platform/om_path.h"

using tarn::test::scriptedPaths;
using tarn::test::ScriptedPlatform;

tarn::test::ScriptedPaths& tarn::test::scriptedPaths() {
    static ScriptedPaths paths;
    return paths;
}

const char* TarnOmCustUtilGetCfgPath(uint32_t kind) {
    ScriptedPlatform::get().enterInfallible("TarnOmCustUtilGetCfgPath");
    return kind == 0 ? scriptedPaths().configuration.c_str() : "/another";
}

const char* TarnOmCustUtilGetStoragePath(void) {
    return ScriptedPlatform::get().enter("TarnOmCustUtilGetStoragePath") ? nullptr : scriptedPaths().storage.c_str();
}
