# varies: "seconds":[0-9.]+
# varies: "environment":"[^"]*"
# A session of one command, without the events of its reply's long payload.
simulate 'biz_simulator --model A2 --port 15700'
show 'biz_console send --device tcp://127.0.0.1:15700 --model A2 "F1 00 01 16 00 00" --json'
