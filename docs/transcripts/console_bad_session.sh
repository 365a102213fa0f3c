cp "$tree/docs/transcripts/bad.json" .
show 'biz_console run bad.json --device tcp://127.0.0.1:15700'
