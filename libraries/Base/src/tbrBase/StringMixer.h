#pragma once

#include <tbrBase/Export.h>

#include <ostream>
#include <sstream>
#include <string>

namespace _tbr
{

/// Puts a text together from streamable pieces, for use in one expression:
/// `throw tbr::Exception(_tbr::StringMixer() << "port " << port << " is taken");`
/// Numbers are written as in the source code, whatever the process's locale; manipulators such as std::hex last until
/// they are undone. Use by one thread at a time.
class TBR_BASE_EXPORT StringMixer
{
public:
    StringMixer();
    explicit StringMixer(const std::string& text);
    StringMixer(const StringMixer& other);
    StringMixer& operator=(const StringMixer& other);
    ~StringMixer();

    template <class Piece>
    StringMixer& operator<<(const Piece& piece)
    {
        m_Stream << piece;
        return *this;
    }
    /// For std::endl and the like.
    StringMixer& operator<<(std::ostream& (*manipulator)(std::ostream&));

    /// The text so far.
    std::string str() const;
    operator std::string() const;

private:
    std::ostringstream m_Stream;
};

} // namespace _tbr
