#ifndef BIZ_TOOLS_JSON_PARSER_H
#define BIZ_TOOLS_JSON_PARSER_H

#include <common/json/json_text.h>

namespace biz::tools {

/** Where a text ceased to be JSON, and what was expected there. */
struct JsonSyntaxError
{
    int offset;
    QString problem;
};

/** Reads the one value of a text, an object or an array. Throws JsonSyntaxError. */
JsonValue parseJson(const QByteArray &text);

} // namespace biz::tools

#endif
