find_package(GTest REQUIRED)
find_package(rapidcheck REQUIRED)
find_package(benchmark REQUIRED)
