// The robustness table: the export list joined with the families' rows.
#include <algorithm>
#include <cctype>
#include <cstring>
#include <deque>
#include <map>

#include "robust/robust.h"
#include "robust/rows.h"

namespace celrobust {

std::vector<Row>& rowRegistry() {
    static std::vector<Row> all;
    return all;
}

RowList::RowList(std::initializer_list<RowGroup> list) {
    for (const RowGroup& g : list) rowRegistry().insert(rowRegistry().end(), g.rows.begin(), g.rows.end());
}

std::vector<Geo> layoutPlanes(const std::string& exportName) {
    std::string s = exportName;
    if (s.size() > 2 && s.compare(s.size() - 2, 2, "_L") == 0) s.resize(s.size() - 2);
    s = s.substr(s.rfind('_') + 1);
    const bool inPlace = s.find('I') != std::string::npos;
    std::vector<Geo> side[2];
    int parts = 0;
    for (size_t i = 0; i < s.size(); ++i) {
        if ((s[i] != 'C' && s[i] != 'P') || i + 1 >= s.size() || !std::isdigit(static_cast<unsigned char>(s[i + 1])))
            continue;
        const int n = s[i + 1] - '0';
        if (parts < 2) side[parts].assign(s[i] == 'C' ? 1 : n, px(s[i] == 'C' ? n : 1));
        ++parts;
    }
    if (parts == 1 && !inPlace) side[1] = side[0];
    side[0].insert(side[0].end(), side[1].begin(), side[1].end());
    return side[0];
}

RowGroup::RowGroup(int, const char* names, bool byLayout, const Row& shared) {
    static std::deque<std::string> kept;  // the names the rows point at
    std::string list(names);
    for (char& ch : list)
        if (ch == '(' || ch == ')' || ch == ',' || std::isspace(static_cast<unsigned char>(ch))) ch = ' ';
    size_t pos = 0;
    while ((pos = list.find_first_not_of(' ', pos)) != std::string::npos) {
        const size_t end = std::min(list.find(' ', pos), list.size());
        kept.push_back(list.substr(pos, end - pos));
        pos = end;
        rows.push_back(shared);
        rows.back().name = kept.back().c_str();
        if (byLayout) rows.back().planes = layoutPlanes(kept.back());
    }
}

const std::vector<Row>& rows() { return rowRegistry(); }

namespace {

struct RawEntry {
    const char* name;
    const char* params;
    const void* fn;
    int (*call)(const void*, const Slot*);
    bool returnsStatus;
    std::vector<TypeInfo> (*types)();
};

const std::vector<RawEntry>& rawEntries() {
    static const std::vector<RawEntry> list = {
#define CEL_EXPORT(ret, name, params, args, doc)                                                  \
    {#name, #params, reinterpret_cast<const void*>(&name), &Signature<decltype(&name)>::call, \
     Signature<decltype(&name)>::returnsStatus, &Signature<decltype(&name)>::types},
#include "celcc/exports.inc"
#undef CEL_EXPORT
    };
    return list;
}

// Splits "(const uint8_t* const src[3], int srcStep, CelSize roiSize)" into
// names and array counts.
void parseParams(const char* text, std::vector<std::pair<std::string, int>>& out) {
    std::string s(text);
    if (!s.empty() && s.front() == '(') s.erase(0, 1);
    if (!s.empty() && s.back() == ')') s.pop_back();
    size_t pos = 0;
    while (pos <= s.size()) {
        size_t comma = s.find(',', pos);
        if (comma == std::string::npos) comma = s.size();
        std::string piece = s.substr(pos, comma - pos);
        pos = comma + 1;
        while (!piece.empty() && std::isspace(static_cast<unsigned char>(piece.back()))) piece.pop_back();
        int count = 1;  // the product of the dimensions: a matrix twist[3][4] counts 12
        while (!piece.empty() && piece.back() == ']') {
            const size_t open = piece.rfind('[');
            count *= std::atoi(piece.c_str() + open + 1);
            piece.erase(open);
            while (!piece.empty() && std::isspace(static_cast<unsigned char>(piece.back()))) piece.pop_back();
        }
        size_t end = piece.size(), begin = end;
        while (begin > 0 && (std::isalnum(static_cast<unsigned char>(piece[begin - 1])) || piece[begin - 1] == '_'))
            --begin;
        std::string name = piece.substr(begin, end - begin);
        if (name.empty() || name == "void") continue;
        out.emplace_back(name, count);
    }
}

bool startsWith(const std::string& s, const char* p) { return s.compare(0, std::strlen(p), p) == 0; }
bool endsWith(const std::string& s, const char* p) {
    const size_t n = std::strlen(p);
    return s.size() >= n && s.compare(s.size() - n, n, p) == 0;
}
bool contains(const std::string& s, const char* p) { return s.find(p) != std::string::npos; }

Kind classify(const std::string& name, const TypeInfo& t) {
    if (t.isSize) return name == "srcSize" ? Kind::FrameSize : Kind::Size;
    if (t.isRect) return Kind::Rect;
    if (t.isPointerArray) {
        if (startsWith(name, "srcDst")) return Kind::InOutPlanes;
        return t.pointeeConst ? Kind::SrcPlanes : Kind::DstPlanes;
    }
    if (t.isPointer) {
        if (contains(name, "Step")) return Kind::Steps;
        if (name == "scratch" || name == "buffer") return Kind::Scratch;
        if (startsWith(name, "srcDst")) return Kind::InOutPlane;
        if (startsWith(name, "src")) return Kind::SrcPlane;
        if (startsWith(name, "dst")) return Kind::DstPlane;
        return t.pointeeConst ? Kind::ExtraArray : Kind::OutValue;
    }
    if (contains(name, "Step")) return Kind::Step;
    if (endsWith(name, "Width") || name == "width") return Kind::Width;
    if (endsWith(name, "Height") || name == "height") return Kind::Height;
    return Kind::Extra;
}

bool isImage(Kind k) {
    return k == Kind::SrcPlane || k == Kind::DstPlane || k == Kind::InOutPlane || k == Kind::SrcPlanes ||
           k == Kind::DstPlanes || k == Kind::InOutPlanes;
}

Subject build(const RawEntry& e, const std::map<std::string, const Row*>& byName) {
    Subject s;
    s.name = e.name;
    s.params = e.params;
    s.fn = e.fn;
    s.call = e.call;
    s.returnsStatus = e.returnsStatus;
    std::vector<std::pair<std::string, int>> names;
    parseParams(e.params, names);
    const std::vector<TypeInfo> types = e.types();
    if (names.size() != types.size()) {
        s.problem = "cannot read the parameter names";
        return s;
    }
    bool hasRect = false;
    for (size_t i = 0; i < names.size(); ++i) {
        Param p;
        p.name = names[i].first;
        p.count = names[i].second;
        p.type = types[i];
        p.kind = classify(p.name, p.type);
        if (isImage(p.kind)) {
            p.plane = s.planeCount;
            s.planeCount += p.count;
        }
        hasRect |= p.kind == Kind::Rect;
        s.args.push_back(p);
    }
    // A step belongs to the image parameter whose name it extends:
    // srcStep -> src, dstCbCrStep -> dstCbCr.
    for (size_t i = 0; i < s.args.size(); ++i) {
        Param& p = s.args[i];
        if (p.kind != Kind::Step && p.kind != Kind::Steps) continue;
        const std::string base = p.name.substr(0, p.name.find("Step"));
        for (size_t j = 0; j < s.args.size(); ++j)
            if (isImage(s.args[j].kind) && s.args[j].name == base) {
                p.stepFor = static_cast<int>(j);
                s.args[j].stepParam = static_cast<int>(i);
            }
        // The step of a scratch buffer (bufferStep) is a family argument:
        // the row gives its range and the scratch size that goes with it.
        for (const Param& q : s.args)
            if (q.kind == Kind::Scratch && q.name == base && p.kind == Kind::Step) p.kind = Kind::Extra;
        if (p.stepFor < 0 && p.kind != Kind::Extra) s.problem = "step " + p.name + " belongs to no image argument";
    }
    if (s.args.empty())
        s.shape = Shape::Version;
    else if (hasRect)
        s.shape = Shape::Frame;
    else if (s.planeCount == 0)
        s.shape = Shape::Query;
    else
        s.shape = Shape::Image;

    const auto it = byName.find(e.name);
    if (it == byName.end()) return s;
    s.row = it->second;
    if (s.shape != Shape::Version && static_cast<int>(s.row->planes.size()) != s.planeCount)
        s.problem = "the row gives " + std::to_string(s.row->planes.size()) + " planes, the signature has " +
                    std::to_string(s.planeCount);
    for (const Extra& x : s.row->extras) {
        bool found = false;
        for (Param& p : s.args)
            if ((p.kind == Kind::Extra || p.kind == Kind::ExtraArray) && p.name == x.name) {
                p.extra = &x;
                if (x.count > 0) p.count = x.count;
                found = true;
            }
        if (!found) s.problem = std::string("the row's extra ") + x.name + " is no argument";
    }
    return s;
}

}  // namespace

const std::vector<Subject>& subjects() {
    static const std::vector<Subject> list = [] {
        std::map<std::string, const Row*> byName;
        for (const Row& r : rows()) byName[r.name] = &r;
        std::vector<Subject> out;
        for (const RawEntry& e : rawEntries()) out.push_back(build(e, byName));
        return out;
    }();
    return list;
}

}  // namespace celrobust

// The families' rows: tests/robust/shapes_*.inc, listed by the build.
namespace celrobust {
namespace {
#include "robust_shapes_all.inc"
}  // namespace
}  // namespace celrobust
