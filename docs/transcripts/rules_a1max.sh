show 'biz_console rules A1MAX'
