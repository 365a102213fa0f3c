# The device's port is the one that the program knows by itself.
simulate 'build/dev/tools/biz_simulator/biz_simulator --model A2 --port 15700'
show 'build/dev/examples/quick_start/quick_start' "$(to_real 'quick_start tcp://127.0.0.1:15700')"
