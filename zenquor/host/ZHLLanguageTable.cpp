#include "zenquor/host/ZHLLanguageTable.h"

#include <algorithm>
#include <iterator>

namespace zenquor {
namespace {

// By code. Where ISO 639-2 has no code of its own, the one of ISO 639-3 stands.
constexpr ZHLLanguageTable::Language languages[] = {
    {0x00, "und", "unknown"},    {0x01, "sqi", "Albanian"},      {0x02, "bre", "Breton"},
    {0x03, "cat", "Catalan"},    {0x04, "hrv", "Croatian"},      {0x05, "cym", "Welsh"},
    {0x06, "ces", "Czech"},      {0x07, "dan", "Danish"},        {0x08, "deu", "German"},
    {0x09, "eng", "English"},    {0x0A, "spa", "Spanish"},       {0x0B, "epo", "Esperanto"},
    {0x0C, "est", "Estonian"},   {0x0D, "eus", "Basque"},        {0x0E, "fao", "Faroese"},
    {0x0F, "fra", "French"},     {0x10, "fry", "Frisian"},       {0x11, "gle", "Irish"},
    {0x12, "gla", "Gaelic"},     {0x13, "glg", "Galician"},      {0x14, "isl", "Icelandic"},
    {0x15, "ita", "Italian"},    {0x16, "smi", "Lappish"},       {0x17, "lat", "Latin"},
    {0x18, "lav", "Latvian"},    {0x19, "ltz", "Luxembourgish"}, {0x1A, "lit", "Lithuanian"},
    {0x1B, "hun", "Hungarian"},  {0x1C, "mlt", "Maltese"},       {0x1D, "nld", "Dutch"},
    {0x1E, "nor", "Norwegian"},  {0x1F, "oci", "Occitan"},       {0x20, "pol", "Polish"},
    {0x21, "por", "Portuguese"}, {0x22, "ron", "Romanian"},      {0x23, "roh", "Romansh"},
    {0x24, "srp", "Serbian"},    {0x25, "slk", "Slovak"},        {0x26, "slv", "Slovenian"},
    {0x27, "fin", "Finnish"},    {0x28, "swe", "Swedish"},       {0x29, "tur", "Turkish"},
    {0x2A, "nld", "Flemish"},    {0x2B, "wln", "Walloon"},       {0x45, "zul", "Zulu"},
    {0x46, "vie", "Vietnamese"}, {0x47, "uzb", "Uzbek"},         {0x48, "urd", "Urdu"},
    {0x49, "ukr", "Ukrainian"},  {0x4A, "tha", "Thai"},          {0x4B, "tel", "Telugu"},
    {0x4C, "tat", "Tatar"},      {0x4D, "tam", "Tamil"},         {0x4E, "tgk", "Tajik"},
    {0x4F, "swa", "Swahili"},    {0x50, "srn", "Sranan Tongo"},  {0x51, "som", "Somali"},
    {0x52, "sin", "Sinhala"},    {0x53, "sna", "Shona"},         {0x54, "hbs", "Serbo-Croat"},
    {0x55, "rue", "Ruthenian"},  {0x56, "rus", "Russian"},       {0x57, "que", "Quechua"},
    {0x58, "pus", "Pashto"},     {0x59, "pan", "Punjabi"},       {0x5A, "fas", "Persian"},
    {0x5B, "pap", "Papiamento"}, {0x5C, "ori", "Oriya"},         {0x5D, "nep", "Nepali"},
    {0x5E, "nde", "Ndebele"},    {0x5F, "mar", "Marathi"},       {0x60, "ron", "Moldavian"},
    {0x61, "msa", "Malay"},      {0x62, "mlg", "Malagasy"},      {0x63, "mkd", "Macedonian"},
    {0x64, "lao", "Lao"},        {0x65, "kor", "Korean"},        {0x66, "khm", "Khmer"},
    {0x67, "kaz", "Kazakh"},     {0x68, "kan", "Kannada"},       {0x69, "jpn", "Japanese"},
    {0x6A, "ind", "Indonesian"}, {0x6B, "hin", "Hindi"},         {0x6C, "heb", "Hebrew"},
    {0x6D, "hau", "Hausa"},      {0x6E, "grn", "Guarani"},       {0x6F, "guj", "Gujarati"},
    {0x70, "ell", "Greek"},      {0x71, "kat", "Georgian"},      {0x72, "ful", "Fulani"},
    {0x73, "prs", "Dari"},       {0x74, "chv", "Chuvash"},       {0x75, "zho", "Chinese"},
    {0x76, "mya", "Burmese"},    {0x77, "bul", "Bulgarian"},     {0x78, "ben", "Bengali"},
    {0x79, "bel", "Belarusian"}, {0x7A, "bam", "Bambara"},       {0x7B, "aze", "Azerbaijani"},
    {0x7C, "asm", "Assamese"},   {0x7D, "hye", "Armenian"},      {0x7E, "ara", "Arabic"},
    {0x7F, "amh", "Amharic"},
};

}  // namespace

std::optional<ZHLLanguageTable::Language> ZHLLanguageTable::languageForCode(std::int32_t code) {
    const auto* const found =
        std::lower_bound(std::begin(languages), std::end(languages), code,
                         [](const Language& language, std::int32_t key) { return language.code < key; });
    if (found == std::end(languages) || found->code != code) return std::nullopt;
    return *found;
}

std::optional<ZHLLanguageTable::Language> ZHLLanguageTable::languageForISO639(std::string_view code) {
    const auto found = std::ranges::find(languages, code, &Language::iso639_2);
    if (found == std::end(languages) || found->code == 0) return std::nullopt;
    return *found;
}

std::string_view ZHLLanguageTable::nameForCode(std::int32_t code) {
    const auto language = languageForCode(code);
    return language ? language->name : "unknown";
}

}  // namespace zenquor
