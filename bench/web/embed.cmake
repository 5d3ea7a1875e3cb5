# Writes OUTPUT, a source file that holds the files of FOLDER (bench/web/assets.h).
file(GLOB files RELATIVE ${FOLDER} ${FOLDER}/*)
set(arrays "")
set(rows "")
set(number 0)
foreach(file IN LISTS files)
    file(READ ${FOLDER}/${file} bytes HEX)
    string(REGEX REPLACE "(..)" "0x\\1," bytes "${bytes}")
    string(REGEX REPLACE "(................................................................................)" "\\1\n" bytes "${bytes}")
    string(APPEND arrays "constexpr unsigned char kFile${number}[] = {\n${bytes}};\n")
    string(APPEND rows "    {\"/${file}\", Text(kFile${number})},\n")
    math(EXPR number "${number} + 1")
endforeach()
file(WRITE ${OUTPUT} "#include \"bench/web/assets.h\"

namespace plug::bench {
namespace {

${arrays}
template <std::size_t size>
std::string_view Text(const unsigned char (&bytes)[size]) {
    return {reinterpret_cast<const char*>(bytes), size};
}
const Asset kAssets[] = {
${rows}};

}  // namespace

std::span<const Asset> Assets() {
    return kAssets;
}

}  // namespace plug::bench
")
