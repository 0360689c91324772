# Who may include what. The build checks every source against these lists (cmake/CheckLayers.cmake);
# what is not listed is not allowed.

# The folders that each folder may include from.
set(library plist platform logging account store migration)
set(folders_of_plist plist)
set(folders_of_platform plist platform)
set(folders_of_logging plist platform logging)
set(folders_of_account plist platform logging account)
set(folders_of_store plist platform logging account store)
set(folders_of_migration ${library})
set(folders_of_host plist platform host)
set(folders_of_staging ${library} host staging)
set(folders_of_tool ${library} host staging tool)
set(folders_of_api ${library} host staging)
set(folders_of_testing ${library} testing)
set(folders_of_bench ${library} host staging bench)
set(folders_of_fuzz ${library} host staging tool testing fuzz)
set(folders_of_faults ${library} host staging tool testing faults)
set(folders_of_examples ${library} host staging)
set(folders_of_resources)
set(checked_folders ${library} host staging tool api testing bench faults fuzz examples resources)

# Within tool/, each folder stands on those before it.
set(tool_folders frame values device accounts inspection backup migration editing fleet page commands)

# The tests of a folder see what the folder sees, testing/, and these.
set(more_folders_of_tests_in_plist bench)
set(more_folders_of_tests_in_logging account)
set(more_folders_of_tests_in_store host)
set(more_folders_of_tests_in_migration host)
set(more_folders_of_tests_in_resources account)
# Besides X_test.cc, XTest.h and test_modules/, this is test code.
set(test_code plist/Corpus.h plist/Corpus.cc plist/CountingAllocator.h plist/CountingAllocator.cc
    plist/SampleChecks.h plist/SampleChecks.cc testing/ToolRun.cc)
# It runs the command and reads what the command writes.
set(more_folders_of_testing/ToolRun.cc tool)

# The headers of the C++ standard library: for everybody.
set(standard_headers
  algorithm any array atomic barrier bit bitset cctype cerrno charconv chrono climits cmath compare
  complex concepts condition_variable coroutine csignal cstdarg cstddef cstdint cstdio cstdlib cstring ctime
  deque exception filesystem forward_list fstream functional future initializer_list iomanip ios
  iosfwd iostream istream iterator latch limits list locale map memory memory_resource mutex new
  numbers numeric optional ostream queue random ranges ratio regex semaphore set shared_mutex span
  sstream stack stdexcept stop_token streambuf string string_view system_error thread tuple
  type_traits typeindex typeinfo unordered_map unordered_set utility valarray variant vector version)

# The headers of the system and of other libraries: for host/, which is there for them, for tests,
# and for a few more places.
set(posix_headers
  dirent.h dlfcn.h fcntl.h grp.h poll.h pthread.h pwd.h sched.h signal.h stdlib.h sys/file.h
  sys/ioctl.h sys/mount.h sys/prctl.h sys/random.h sys/resource.h sys/stat.h sys/syscall.h
  sys/sysmacros.h sys/types.h sys/vfs.h sys/wait.h syslog.h unistd.h)
set(linux_headers
  cpuid.h immintrin.h link.h linux/audit.h linux/capability.h linux/filter.h linux/fs.h linux/magic.h linux/openat2.h
  linux/seccomp.h malloc.h sys/eventfd.h sys/inotify.h systemd/sd-bus.h)
set(test_headers gmock/gmock.h gtest/gtest-spi.h gtest/gtest.h)
set(headers_of_plist/Nodes.h sys/single_threaded.h)
set(headers_of_host ${posix_headers} ${linux_headers})
set(headers_of_tool CLI/App.hpp CLI/Config.hpp CLI/Formatter.hpp nlohmann/json.hpp)
set(headers_of_tool/main.cc malloc.h)
set(headers_of_tool/frame/Terminal.cc fcntl.h pwd.h signal.h sys/ioctl.h sys/wait.h unistd.h)
set(headers_of_tool/fleet/WarmUp.cc stdlib.h)
set(headers_of_tool/fleet/Workers.cc sched.h signal.h sys/mman.h sys/resource.h sys/wait.h unistd.h)
set(headers_of_tool/commands/AccountsNotLoaded_test.cc wordexp.h)
set(headers_of_tool/fleet/ResultsWriter.cc fcntl.h sys/file.h sys/stat.h unistd.h)
set(headers_of_examples/own_platform.cc signal.h stdlib.h sys/stat.h sys/wait.h unistd.h)
set(headers_of_testing ${posix_headers} ${test_headers})
# It stands before the calls of the C library.
set(headers_of_faults ${posix_headers} sys/mman.h)
set(headers_of_testing/DiskCalls.cc sys/mman.h)
set(headers_of_bench ${posix_headers} malloc.h benchmark/benchmark.h)
set(headers_of_bench/bare_worker.cc linux/openat2.h)
# The C library that the property lists are measured beside.
set(headers_of_bench/plist_bench.cc plist/plist.h)
set(headers_of_tests ${posix_headers} ${linux_headers} ${test_headers})
