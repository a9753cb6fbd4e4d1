#include "base/JSONFields.h"

using namespace harrowmint;

namespace {

const auto text = [](const JSONValue& value) { return value.string(); };

class JSONFields : public ::testing::Test {
protected:
    JSONDocument document{R"({"text":"a","null":null,"number":1})"};
    JSONObject object = *document.root().object();

    template <class Call>
    static QString complaint(Call call)
    {
        try {
            call();
            return {};
        } catch (const PrinterError& error) {
            return error.message();
        }
    }
    static QString about(const char* key)
    {
        return QStringLiteral("The value of \"%1\" is missing or of another type.").arg(QLatin1String(key));
    }
};

TEST_F(JSONFields, GiveARequiredValueOrNameIt)
{
    EXPECT_EQ(requiredField(object, "text", text), QStringLiteral("a"));
    for (const char* key : {"missing", "null", "number"})
        EXPECT_EQ(complaint([&] { (void)requiredField(object, key, text); }), about(key));
}

TEST_F(JSONFields, TakeNullForAbsentWhenOptional)
{
    EXPECT_EQ(optionalField(object, "text", text), QStringLiteral("a"));
    EXPECT_EQ(optionalField(object, "missing", text), std::nullopt);
    EXPECT_EQ(optionalField(object, "null", text), std::nullopt);
    EXPECT_EQ(complaint([&] { (void)optionalField(object, "number", text); }), about("number"));
}

} // namespace
