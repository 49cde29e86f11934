#include <tbrCore/IniReader.h>

#include <gtest/gtest.h>

#include <QFile>
#include <QSettings>
#include <QTemporaryDir>

namespace
{

class IniReader : public testing::Test
{
protected:
    QString path() const { return m_Folder.filePath("settings.ini"); }

    bool read(const QByteArray& text)
    {
        QFile file(path());
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(text);
        file.close();
        return reader.read(path());
    }

    /// The value of key "k" in a file that has nothing else.
    std::string valueOf(const QByteArray& written)
    {
        EXPECT_TRUE(read("k=" + written + "\n")) << reader.problem().toStdString();
        EXPECT_EQ(1, reader.values().size());
        return reader.values().value("k", "<not set>").toStdString();
    }

    std::string value(const QString& key) const { return reader.values().value(key, "<not set>").toStdString(); }

    std::string problemOf(const QByteArray& text)
    {
        EXPECT_FALSE(read(text));
        EXPECT_TRUE(reader.values().isEmpty());
        return reader.problem().toStdString();
    }

    tbr::IniReader reader;

private:
    const QTemporaryDir m_Folder;
};

} // namespace

TEST_F(IniReader, MakesOneKeyOfTheSectionAndThePartsOfTheName)
{
    ASSERT_TRUE(read("[Tobrel]\n"
                     "Navigation\\CaToolList\\ClientInterfaceModule=TSClient\n"
                     "Navigation/CaToolList/ClientInterfaceModulePath=/opt/modules\n"
                     "[Other]\n"
                     "Name=x\n"));
    EXPECT_EQ("TSClient", value("Tobrel/Navigation/CaToolList/ClientInterfaceModule"));
    EXPECT_EQ("/opt/modules", value("Tobrel/Navigation/CaToolList/ClientInterfaceModulePath"));
    EXPECT_EQ("x", value("Other/Name"));
    EXPECT_EQ(3, reader.values().size());
    EXPECT_TRUE(reader.problem().isEmpty());
}

TEST_F(IniReader, TakesTheGeneralSectionForNoSection)
{
    ASSERT_TRUE(read("a=1\n[General]\nb=2\n[%General]\nc=3\n[ Spaced ] ; comment\nd=4\n"));
    EXPECT_EQ("1", value("a"));
    EXPECT_EQ("2", value("b"));
    EXPECT_EQ("3", value("General/c"));
    EXPECT_EQ("4", value("Spaced/d"));
}

TEST_F(IniReader, SkipsBlankLinesAndComments)
{
    ASSERT_TRUE(read("\n  \n; a=1\n# b=2\n  ; c=3\nd=4 ; not 5\ne=\"6;7\"\n"));
    EXPECT_EQ("4", value("d"));
    EXPECT_EQ("6;7", value("e"));
    EXPECT_EQ(2, reader.values().size());
}

TEST_F(IniReader, KeepsCommasAsTheyAre)
{
    EXPECT_EQ("/opt/a,b/modules", valueOf("/opt/a,b/modules"));
    EXPECT_EQ("Drill, left ,  blue", valueOf("Drill, left ,  blue"));
    EXPECT_EQ("a, b", valueOf("\"a, b\""));
    EXPECT_EQ(",", valueOf(","));
}

TEST_F(IniReader, DropsBlanksAroundAValueUnlessTheyAreQuoted)
{
    EXPECT_EQ("a b", valueOf("  a b\t "));
    EXPECT_EQ("  a b ", valueOf(" \"  a b \" "));
    EXPECT_EQ("a b", valueOf("a\" \"b"));
    EXPECT_EQ("", valueOf(""));
    EXPECT_EQ("", valueOf("\"\""));
    EXPECT_EQ("a", valueOf("a   ; comment"));
}

TEST_F(IniReader, KeepsPercentAndEqualsSignsInAValue)
{
    EXPECT_EQ("SurgicalTool.%1 100% %20", valueOf("SurgicalTool.%1 100% %20"));
    EXPECT_EQ("a=b=c", valueOf("a=b=c"));
}

TEST_F(IniReader, ResolvesEscapesInAValue)
{
    EXPECT_EQ("C:\\tools \"x\" a\tb\nc", valueOf("C:\\\\tools \\\"x\\\" a\\tb\\nc"));
    EXPECT_EQ("\xc3\xa4g", valueOf("\\xe4g"));                        // an umlaut in a single hexadecimal escape
    EXPECT_EQ("\xf0\x9f\x98\x80", valueOf("\\xd83d\\xde00"));         // a character of two units
    EXPECT_EQ("C:\\Program Files\\", valueOf("C:\\Program Files\\")); // no escapes at all
    EXPECT_EQ("\\xyz", valueOf("\\xyz"));
    EXPECT_EQ("  ", valueOf("\\x20\\x20"));
}

TEST_F(IniReader, ResolvesPercentEscapesInNames)
{
    ASSERT_TRUE(read("[My%20Section]\nBohrf%FChrung=1\n%U20AC=2\n100%=3\n%zz=4\n"));
    EXPECT_EQ("1", value(QString::fromUtf8("My Section/Bohrf\xc3\xbchrung")));
    EXPECT_EQ("2", value(QString::fromUtf8("My Section/\xe2\x82\xac")));
    EXPECT_EQ("3", value("My Section/100%"));
    EXPECT_EQ("4", value("My Section/%zz"));
}

TEST_F(IniReader, ReadsUtf8WithAndWithoutByteOrderMark)
{
    EXPECT_EQ("Bohrf\xc3\xbchrung \xf0\x9f\x98\x80", valueOf("Bohrf\xc3\xbchrung \xf0\x9f\x98\x80"));
    ASSERT_TRUE(read("\xef\xbb\xbfk=v\n"));
    EXPECT_EQ("v", value("k"));
}

TEST_F(IniReader, ReadsLinesOfEverySystem)
{
    ASSERT_TRUE(read("a=1\r\nb=2\rc=3\nd=4"));
    EXPECT_EQ("1", value("a"));
    EXPECT_EQ("2", value("b"));
    EXPECT_EQ("3", value("c"));
    EXPECT_EQ("4", value("d"));
}

TEST_F(IniReader, TakesTheLastOfARepeatedKeyAndTellsCases)
{
    ASSERT_TRUE(read("a=1\nA=2\na=3\n"));
    EXPECT_EQ("3", value("a"));
    EXPECT_EQ("2", value("A"));
}

TEST_F(IniReader, HasNoValuesInAnEmptyFile)
{
    EXPECT_TRUE(read(""));
    EXPECT_TRUE(reader.values().isEmpty());
}

TEST_F(IniReader, ReplacesWhatItReadBefore)
{
    ASSERT_TRUE(read("[s]\na=1\n"));
    ASSERT_TRUE(read("b=2\n"));
    EXPECT_EQ("<not set>", value("s/a"));
    EXPECT_EQ("2", value("b"));
    EXPECT_EQ("line 1 is not of the form key=value", problemOf("nonsense"));
    ASSERT_TRUE(read("c=3\n"));
    EXPECT_TRUE(reader.problem().isEmpty());
}

TEST_F(IniReader, NamesTheLineThatIsMalformed)
{
    EXPECT_EQ("line 2 is not of the form key=value", problemOf("a=1\nb\nc=3\n"));
    EXPECT_EQ("line 1 is not of the form key=value", problemOf("=1\n"));
    EXPECT_EQ("line 3 is not of the form [section]", problemOf("\n\n[Tobrel\na=1\n"));
    EXPECT_EQ("line 1 is not of the form [section]", problemOf("[]\n"));
    EXPECT_EQ("line 1 is not of the form [section]", problemOf("[a] b=1\n"));
    EXPECT_EQ("line 2 has a quotation that does not end", problemOf("a=1\nb=\"2\nc=3\n"));
}

TEST_F(IniReader, RefusesBytesThatAreNoUtf8Text)
{
    EXPECT_EQ("it is not UTF-8 text", problemOf("a=Bohrf\xfchrung\n"));
    EXPECT_EQ("it is not UTF-8 text", problemOf("a=cut \xc3"));
}

TEST_F(IniReader, RefusesWhatIsNoFile)
{
    ASSERT_TRUE(read("a=1\n"));
    EXPECT_FALSE(reader.read(path() + ".missing"));
    EXPECT_EQ("there is no such file", reader.problem().toStdString());
    EXPECT_TRUE(reader.values().isEmpty());
    EXPECT_FALSE(reader.read(QTemporaryDir().path()));
    EXPECT_FALSE(reader.read(""));
}

TEST_F(IniReader, ReadsWhatQSettingsWrites)
{
    const QStringList texts = {"plain",
                               "a, b",
                               ";=\"\\",
                               " blanks ",
                               "",
                               "tab\tand\nline",
                               "@at",
                               "100%",
                               QString::fromUtf8("Bohrf\xc3\xbchrung \xc3\xa4"
                                                 "b \xf0\x9f\x98\x80"),
                               "C:\\tools\\new"};
    QSettings settings(path(), QSettings::IniFormat);
    settings.setValue("Tobrel/Navigation/100% Bohrf\xc3\xbchrung.ClassId", "key");
    settings.setValue("General/number", 2222);
    settings.setValue("general", "no section");
    for (int i = 0; i < texts.size(); ++i)
        settings.setValue(QString("Texts/%1").arg(i), texts[i]);
    settings.sync();

    ASSERT_TRUE(reader.read(path())) << reader.problem().toStdString();

    EXPECT_EQ("key", value("Tobrel/Navigation/100% Bohrf\xc3\xbchrung.ClassId"));
    EXPECT_EQ("2222", value("General/number"));
    EXPECT_EQ("no section", value("general"));
    for (int i = 0; i < texts.size(); ++i)
        EXPECT_EQ(texts[i].toStdString(), value(QString("Texts/%1").arg(i)));
}
