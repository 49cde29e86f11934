#pragma once

#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <vector>

/// A fenced block of a Markdown document.
struct DocumentBlock
{
    std::string kind; ///< what stands behind the opening fence: "sh server", say
    std::string text; ///< its lines as they stand
};

/// The fenced blocks of a document whose kind begins with `kind`, in their order; at least one, or the test fails.
inline std::vector<DocumentBlock> blocksOf(const std::string& file, const std::string& kind)
{
    std::ifstream document(file);
    EXPECT_TRUE(document) << file;
    std::vector<DocumentBlock> blocks;
    bool isInside = false;
    bool isWanted = false;
    for (std::string line; std::getline(document, line);)
    {
        const std::size_t fence = line.find("```");
        if (fence != std::string::npos && line.find_first_not_of(' ') == fence)
        {
            isInside = !isInside;
            isWanted = isInside && line.compare(fence + 3, kind.size(), kind) == 0;
            if (isWanted)
                blocks.push_back({line.substr(fence + 3), ""});
        }
        else if (isWanted)
            blocks.back().text += line + "\n";
    }
    EXPECT_FALSE(blocks.empty()) << "no block of kind " << kind << " in " << file;
    return blocks;
}
