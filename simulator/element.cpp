#include <cds++.h>

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <utility>

namespace toolkit
{

namespace
{

enum TypeCode { type_boolean = 1, type_integer = 3, type_string = 6 };

std::time_t stamp_for(std::time_t otherwise)
{
    return CElement::_auto_time ? std::time(nullptr) : otherwise;
}

} // namespace

bool CElement::_auto_time = false;
const std::time_t CElement::_invalid_time = -1;

CElement::CElement() : _type(type_string), _number(0), _time(stamp_for(_invalid_time)) {}

CElement& CElement::operator=(bool value)
{
    *this = std::int32_t{value};
    _type = type_boolean;
    return *this;
}

CElement& CElement::operator=(std::int32_t value)
{
    _type = type_integer;
    _number = value;
    _time = stamp_for(_time);
    return *this;
}

CElement& CElement::operator=(const std::string& value)
{
    _type = type_string;
    _text = value;
    _time = stamp_for(_time);
    return *this;
}

int CElement::type() const
{
    return _type;
}

std::time_t CElement::time() const
{
    return _time;
}

void CElement::to_string(std::string& out) const
{
    if (_type == type_boolean)
        out = _number != 0 ? "true" : "false";
    else if (_type == type_integer)
        out = std::to_string(_number);
    else
        out = _text;
}

std::int32_t CElement::to_int() const
{
    using Limits = std::numeric_limits<std::int32_t>;
    if (_type != type_string)
        return _number;
    const long long number = std::strtoll(_text.c_str(), nullptr, 10);
    return static_cast<std::int32_t>(std::clamp<long long>(number, Limits::min(), Limits::max()));
}

bool CElement::to_bool() const
{
    return _type == type_string ? _text == "true" || _text == "1" : _number != 0;
}

void CElement::split_string(std::vector<std::string>& out, const std::string& in, char separator)
{
    std::vector<std::string> parts; // not built in `out`, because `in` may be an element of `out`
    for (std::size_t begin = 0; begin < in.size();) {
        const std::size_t end = std::min(in.find(separator, begin), in.size());
        parts.push_back(in.substr(begin, end - begin));
        begin = end + 1;
    }
    out = std::move(parts);
}

void CEvent::format_source_string(std::string& out, const std::string& first,
                                  const std::string& second, const std::string& third)
{
    std::string source; // not built in `out`, because `out` may be one of the names
    for (const std::string* name : {&first, &second, &third}) {
        if (!source.empty() && !name->empty())
            source += '/';
        source += *name;
    }
    out = std::move(source);
}

} // namespace toolkit
