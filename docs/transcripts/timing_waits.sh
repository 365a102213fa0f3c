# A terminal shows the progress in place: nothing of it is left.
cp "$tree/docs/transcripts/silent.json" .
simulate 'biz_simulator --model A2 --port 15700 --fault F1/08=silence'
show 'biz_console run silent.json --device tcp://127.0.0.1:15700' | sed -e '/^\.\.\. /d' -e '/^$/,$d'
