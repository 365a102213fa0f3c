#ifndef BIZ_REPLY_RULES_ERROR_LOG_MODEL_NAMES_P_H
#define BIZ_REPLY_RULES_ERROR_LOG_MODEL_NAMES_P_H

#include <string_view>

namespace biz::errorlog {

struct ModelName
{
    int deviceType;
    std::string_view name;
};

/**
 * The names that the error log writes. Deliberate: this is not the set of types that have
 * a reply checker. It names types whose replies are never refused, and it has no row for
 * 0x7A4200, whose refused replies are logged with an empty name.
 */
inline constexpr ModelName modelNames[] = {
    {0x1400, "ORLIXA2"},    {0x5A10, "QTR101"},  {0x5C00, "BEND24"},    {0x1300, "ORLIXA1"},     {0x1301, "K3"},
    {0x1700, "ORLIXA1MAX"}, {0x1701, "K6"},      {0x1800, "ORLIXA3"},   {0x4E00, "R-UNO"},       {0x7A40, "PVN410MAX"},
    {0x5B0300, "QTR096"},   {0x3E0100, "K250"},  {0x181000, "A3CAST"},  {0x181001, "LX5120MAX"}, {0x5D2100, "QTR105"},
    {0x5D2101, "QTR106"},   {0x4D0000, "S-UNO"}, {0x190000, "ORLIXA5"}, {-1, "UnknownType"},
};

/** The name of a device type; empty when the log has none for it. */
constexpr std::string_view modelName(int deviceType)
{
    for (const ModelName &row : modelNames) {
        if (row.deviceType == deviceType) {
            return row.name;
        }
    }
    return {};
}

} // namespace biz::errorlog

#endif
