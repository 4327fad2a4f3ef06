// libgsf, loaded the first time an OLE compound file is opened: only .xls workbooks and
// DEXAN worksheets are such files, and libgsf pulls in GLib's object, I/O and XML
// libraries, whose loading would otherwise lengthen every start of a program.
#pragma once

#include <gsf/gsf-infile-msole.h>
#include <gsf/gsf-infile.h>
#include <gsf/gsf-input-stdio.h>
#include <gsf/gsf-input.h>

#include <string>

namespace zm {

// The functions used here, of libgsf and of the GLib libraries it links.
// clang-format off
#define ZM_GSF_FUNCTIONS(X) \
    X(g_error_free) X(g_log_remove_handler) X(g_log_set_handler) X(g_object_unref) \
    X(g_type_check_instance_is_a) X(gsf_infile_child_by_index) X(gsf_infile_get_type) \
    X(gsf_infile_msole_new) X(gsf_infile_name_by_index) X(gsf_infile_num_children) \
    X(gsf_input_read) X(gsf_input_remaining) X(gsf_input_seek) X(gsf_input_size) \
    X(gsf_input_stdio_new) X(gsf_input_tell)
// clang-format on

struct GsfFunctions {
#define ZM_GSF_MEMBER(name) decltype(&::name) name = nullptr;
    ZM_GSF_FUNCTIONS(ZM_GSF_MEMBER)
#undef ZM_GSF_MEMBER
};

// The functions, loading the library on first use; null when it cannot be loaded, with
// the reason in `error`.
const GsfFunctions* LoadGsf(std::string& error);

}  // namespace zm
