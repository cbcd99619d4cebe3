# The programs that make use of libFuzzer, and the folders that each begins with. To be sourced.

fuzzers='feed_fuzzer store_fuzzer config_fuzzer prober_config_fuzzer mib_fuzzer icmp_reply_fuzzer
  peer_fuzzer'

corpora() {
  case $1 in
    feed_fuzzer) echo tests/fuzz/corpus/feed ;;
    store_fuzzer) echo tests/fuzz/corpus/store ;;
    config_fuzzer) echo tests/fuzz/corpus/config ;;
    prober_config_fuzzer) echo tests/unit/monitor/corpus tests/fuzz/corpus/prober_config ;;
    mib_fuzzer) echo tests/fuzz/corpus/mib ;;
    icmp_reply_fuzzer) echo tests/fuzz/corpus/icmp ;;
    peer_fuzzer) echo tests/fuzz/corpus/peer ;;
  esac
}

# What the searches on this machine have found.
found() {
  mkdir -p "build/fuzz/tests/fuzz/$1.found"
  echo "build/fuzz/tests/fuzz/$1.found"
}
