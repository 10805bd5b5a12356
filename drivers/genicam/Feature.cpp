#include "Feature.h"

#include "foundation/platform/Text.h"

#include <charconv>

namespace alidade {
namespace {

template <class Number>
bool Parse(const CStringA& text, Number& value)
{
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    return !text.empty() && error == std::errc() && stop == end;
}

/// Range and access are checked only while features are set by name: the bounds that some cameras declare
/// are wrong for features that nobody touches.
class CStrictChecks {
public:
    explicit CStrictChecks(ArvCamera* camera) : m_pCamera(camera)
    {
        arv_camera_set_range_check_policy(camera, ARV_RANGE_CHECK_POLICY_ENABLE);
        arv_camera_set_access_check_policy(camera, ARV_ACCESS_CHECK_POLICY_ENABLE);
    }
    ~CStrictChecks()
    {
        arv_camera_set_range_check_policy(m_pCamera, ARV_RANGE_CHECK_POLICY_DEFAULT);
        arv_camera_set_access_check_policy(m_pCamera, ARV_ACCESS_CHECK_POLICY_DEFAULT);
    }
    CStrictChecks(const CStrictChecks&) = delete;
    CStrictChecks& operator=(const CStrictChecks&) = delete;

private:
    ArvCamera* m_pCamera;
};

bool SetValue(ArvCamera* camera, ArvGcNode* node, const CStringA& name, const CStringA& value, CGError& error,
              CStringA& reason)
{
    if (ARV_IS_GC_ENUMERATION(node)) {
        if (!arv_camera_is_enumeration_entry_available(camera, name.c_str(), value.c_str(), nullptr)) {
            reason = "the camera offers " + GetEnumEntries(camera, name.c_str());
            return false;
        }
        arv_camera_set_string(camera, name.c_str(), value.c_str(), error.Place());
    } else if (ARV_IS_GC_BOOLEAN(node)) {
        const bool on = CompareNoCase(value, "True") == 0 || value == "1";
        if (!on && CompareNoCase(value, "False") != 0 && value != "0") {
            reason = "it takes True or False";
            return false;
        }
        arv_camera_set_boolean(camera, name.c_str(), on, error.Place());
    } else if (ARV_IS_GC_INTEGER(node)) {
        gint64 number = 0;
        if (!Parse(value, number)) {
            reason = "it takes a whole number";
            return false;
        }
        arv_camera_set_integer(camera, name.c_str(), number, error.Place());
    } else if (ARV_IS_GC_FLOAT(node)) {
        double number = 0;
        if (!Parse(value, number)) {
            reason = "it takes a number";
            return false;
        }
        arv_camera_set_float(camera, name.c_str(), number, error.Place());
    } else if (ARV_IS_GC_STRING(node)) {
        arv_camera_set_string(camera, name.c_str(), value.c_str(), error.Place());
    } else {
        reason = "it holds no value";
        return false;
    }
    return true;
}

} // namespace

CStringA GetEnumEntries(ArvCamera* camera, const char* feature)
{
    guint count = 0;
    const TGMemoryPtr<const char*> names(
        arv_camera_dup_available_enumerations_as_strings(camera, feature, &count, nullptr));
    CStringA list;
    for (guint i = 0; names && i < count; ++i) {
        list += (list.empty() ? "" : ", ") + TextOf(names.get()[i]);
    }
    return list.empty() ? "none" : list;
}

bool SetFeature(ArvCamera* camera, const T_FEATURE& feature, CStringA& reason)
{
    const CStrictChecks checks(camera);
    ArvGcNode* const node = arv_device_get_feature(arv_camera_get_device(camera), feature.strName.c_str());
    CGError error;
    if (node == nullptr) {
        reason = "the camera has no such feature";
        return false;
    }
    if (ARV_IS_GC_COMMAND(node)) {
        arv_camera_execute_command(camera, feature.strName.c_str(), error.Place());
    } else if (!feature.value) {
        reason = "it is no command; a value is missing";
        return false;
    } else if (!SetValue(camera, node, feature.strName, *feature.value, error, reason)) {
        return false;
    }
    if (error.IsSet()) {
        reason = error.Text();
        return false;
    }
    return true;
}

} // namespace alidade
