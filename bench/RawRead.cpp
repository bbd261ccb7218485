// The measure of a plain read: opens a compound file with libgsf and reads every stream of it once,
// as small a program as does that. ProcessBench times `orcadx info --pages` beside it.
//
//   orcadx_rawread FILE
#include <gsf/gsf.h>

#include <cstdio>
#include <vector>

namespace {

size_t ReadAll(GsfInfile* storage) {
    size_t total = 0;
    std::vector<guint8> buffer;
    for (int i = 0, n = gsf_infile_num_children(storage); i < n; ++i) {
        GsfInput* child = gsf_infile_child_by_index(storage, i);
        if (!child) continue;
        if (GSF_IS_INFILE(child) && gsf_infile_num_children(GSF_INFILE(child)) >= 0) {
            total += ReadAll(GSF_INFILE(child));
        } else {
            gsf_off_t size = gsf_input_size(child);
            buffer.resize(static_cast<size_t>(size));
            if (size > 0 && gsf_input_read(child, size, buffer.data())) total += static_cast<size_t>(size);
        }
        g_object_unref(child);
    }
    return total;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: orcadx_rawread FILE\n");
        return 2;
    }
    gsf_init();
    GError* error = nullptr;
    GsfInput* input = gsf_input_stdio_new(argv[1], &error);
    GsfInfile* root = input ? gsf_infile_msole_new(input, &error) : nullptr;
    if (!root) {
        std::fprintf(stderr, "%s: not read\n", argv[1]);
        return 1;
    }
    std::printf("%zu bytes in streams\n", ReadAll(root));
    g_object_unref(root);
    g_object_unref(input);
    return 0;
}
