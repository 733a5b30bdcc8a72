// Prints the export list as JSON for the Python binding: for every export its
// name, the parameter list and doc line as written, and what the compiler
// knows of each parameter's type (kind, size, constness, what a pointer
// points to).  The binding reads names from the text and passes values by
// the types seen here, so a new family needs no line of Python.
#include <cstdio>
#include <string>
#include <type_traits>

#include "celcc.h"

namespace {

std::string json_string(const char* s) {
    std::string out = "\"";
    for (; *s; ++s) {
        const char c = *s;
        if (c == '"' || c == '\\') {
            out += '\\';
            out += c;
        } else if (static_cast<unsigned char>(c) < 0x20) {
            char buf[8];
            std::snprintf(buf, sizeof buf, "\\u%04x", c);
            out += buf;
        } else {
            out += c;
        }
    }
    return out + "\"";
}

// One type as a JSON object: {"kind": ..., "size": ..., ...}.
//   kind "int" (signed, size), "uint", "float", "enum", "struct" (size,
//   align), "void", "pointer" (const: the pointee is const, to: pointee);
//   a matrix parameter (name[3][4]) is a pointer to its elements.
template <typename T>
std::string type_json() {
    using U = std::remove_cv_t<T>;
    char buf[96];
    if constexpr (std::is_void_v<U>) {
        return "{\"kind\": \"void\", \"size\": 0}";
    } else if constexpr (std::is_pointer_v<U>) {
        using P = std::remove_pointer_t<U>;
        return std::string("{\"kind\": \"pointer\", \"size\": ") + std::to_string(sizeof(U)) +
               ", \"const\": " + (std::is_const_v<P> ? "true" : "false") + ", \"to\": " + type_json<P>() + "}";
    } else if constexpr (std::is_array_v<U>) {
        // a row of a matrix parameter (const float twist[3][4]): its elements
        return type_json<std::remove_all_extents_t<T>>();
    } else if constexpr (std::is_enum_v<U>) {
        std::snprintf(buf, sizeof buf, "{\"kind\": \"enum\", \"size\": %zu, \"signed\": %s}", sizeof(U),
                      std::is_signed_v<std::underlying_type_t<U>> ? "true" : "false");
        return buf;
    } else if constexpr (std::is_floating_point_v<U>) {
        std::snprintf(buf, sizeof buf, "{\"kind\": \"float\", \"size\": %zu}", sizeof(U));
        return buf;
    } else if constexpr (std::is_integral_v<U>) {
        std::snprintf(buf, sizeof buf, "{\"kind\": \"%s\", \"size\": %zu}", std::is_signed_v<U> ? "int" : "uint",
                      sizeof(U));
        return buf;
    } else if constexpr (std::is_class_v<U>) {
        std::snprintf(buf, sizeof buf, "{\"kind\": \"struct\", \"size\": %zu, \"align\": %zu}", sizeof(U),
                      alignof(U));
        return buf;
    } else {
        static_assert(sizeof(U) == 0, "a parameter type the binding cannot describe");
    }
}

template <typename F>
struct Signature;

template <typename R, typename... A>
struct Signature<R(A...)> {
    static std::string json() {
        std::string out = "\"ret_type\": " + type_json<R>() + ", \"param_types\": [";
        bool first = true;
        ((out += (first ? "" : ", ") + type_json<A>(), first = false), ...);
        return out + "]";
    }
};

}  // namespace

int main() {
    std::printf("{\"exports\": [\n");
    bool first = true;
#define CEL_STR2(x) #x
#define CEL_STR(x) CEL_STR2(x)
#define CEL_EXPORT(ret, name, params, args, doc)                                                       \
    std::printf("%s  {\"name\": %s, \"ret\": %s, \"params\": %s, \"doc\": %s, %s}", first ? "" : ",\n", \
                json_string(#name).c_str(), json_string(#ret).c_str(), json_string(CEL_STR(params)).c_str(), \
                json_string(doc).c_str(), Signature<decltype(name)>::json().c_str());                               \
    first = false;
#include "celcc/exports.inc"
#undef CEL_EXPORT
    std::printf("\n]}\n");
    return 0;
}
