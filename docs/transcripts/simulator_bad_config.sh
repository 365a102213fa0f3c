cp "$tree/docs/transcripts/bad_config.json" .
show 'biz_simulator --config bad_config.json'
