#include "Platform/Linux/StartupPages.h"

#include <link.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>

namespace tapwell {
namespace {

bool hasTextRelocations(const dl_phdr_info& library) {
    for (int i = 0; i < library.dlpi_phnum; ++i) {
        const auto& header = library.dlpi_phdr[i];
        if (header.p_type != PT_DYNAMIC) continue;
        const auto* entry = reinterpret_cast<const ElfW(Dyn)*>(library.dlpi_addr + header.p_vaddr);
        for (; entry->d_tag != DT_NULL; ++entry)
            if (entry->d_tag == DT_TEXTREL ||
                (entry->d_tag == DT_FLAGS && (entry->d_un.d_val & DF_TEXTREL) != 0))
                return true;
    }
    return false;
}

int releaseLibrary(dl_phdr_info* library, std::size_t, void*) {
    // Relocated read-only segments hold what the file does not.
    if (hasTextRelocations(*library)) return 0;
    const auto pageMask = ~(static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE)) - 1);
    for (int i = 0; i < library->dlpi_phnum; ++i) {
        const auto& header = library->dlpi_phdr[i];
        if (header.p_type != PT_LOAD || (header.p_flags & PF_W) != 0) continue;
        const std::uintptr_t begin = (library->dlpi_addr + header.p_vaddr) & pageMask;
        const std::uintptr_t end = library->dlpi_addr + header.p_vaddr + header.p_filesz;
        madvise(reinterpret_cast<void*>(begin), end - begin, MADV_DONTNEED);
    }
    return 0;
}

}  // namespace

void releaseStartupPages() {
    dl_iterate_phdr(releaseLibrary, nullptr);
}

}  // namespace tapwell
