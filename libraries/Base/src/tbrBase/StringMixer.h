#pragma once

#include <tbrBase/Export.h>

#include <sstream>
#include <string>

namespace _tbr
{

/// Puts a text together from streamable pieces, for use in one expression:
/// `throw tbr::Exception(_tbr::StringMixer() << "port " << port << " is taken");`
class TBR_BASE_EXPORT StringMixer
{
public:
    StringMixer();
    explicit StringMixer(const std::string& text);
    ~StringMixer();

    template <class Piece>
    StringMixer& operator<<(const Piece& piece)
    {
        std::ostringstream stream;
        stream << piece;
        m_Text += stream.str();
        return *this;
    }

    /// The text so far.
    const std::string& str() const;
    operator std::string() const;

private:
    std::string m_Text;
};

} // namespace _tbr
