#include <om_tiv/types.h>

namespace om {

String::String(const char* text) : m_text(text != nullptr ? text : "") {}

String toString(const MODEL& model)
{
    switch (model) {
    case MODEL::TIV:
        return "TIV";
    case MODEL::TIV_N:
        return "TIV_N";
    case MODEL::TIV_P:
        return "TIV_P";
    case MODEL::TIV_Q:
        return "TIV_Q";
    case MODEL::TIV_R:
        return "TIV_R";
    case MODEL::TIV_S:
        return "TIV_S";
    case MODEL::UNKNOWN:
        break;
    }
    return "Unknown";
}

} // namespace om
