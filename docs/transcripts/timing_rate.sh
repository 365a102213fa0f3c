cp "$tree/docs/transcripts/rate.json" .
simulate 'biz_simulator --model A2 --port 15700'
# A terminal shows the progress in place: nothing of it is left.
show 'biz_console run rate.json --quiet --device tcp://127.0.0.1:15700' | sed '/^\.\.\. /d'
